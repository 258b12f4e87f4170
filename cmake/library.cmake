# libzeto.so. Linked as C without the C++ runtime and with every symbol resolved: a stray `new` or std::string in the
# library fails here, not on the phone. Its own calls stay inside it, whatever names the host brings along.
# BUILD_SHARED_LIBS=OFF makes libzeto.a of the same objects.
set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")
target_compile_options(zeto_objects PRIVATE ${zeto_freestanding_options})

# A project around this one that names no kind of build would get a library that is ten times slower.
set(zeto_optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
get_directory_property(zeto_given COMPILE_OPTIONS)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES AND NOT " ${CMAKE_CXX_FLAGS};${zeto_given}" MATCHES "[ ;]-O")
  target_compile_options(zeto_objects PRIVATE -O3)
  set(zeto_optimised 1)
endif()

# What overruns a buffer on the stack ends the process instead of steering it. The sanitizers see more without. On Arm
# with glibc the stack's guard value lives in the loader, which would become a library to need.
if(NOT ZETO_SANITIZE)
  include(CheckCXXCompilerFlag)
  check_cxx_compiler_flag("-Werror -fstack-clash-protection" ZETO_HAS_STACK_CLASH_PROTECTION)
  target_compile_options(zeto_objects PRIVATE
    $<${zeto_optimised}:-U_FORTIFY_SOURCE> # some compilers come with a value
    $<${zeto_optimised}:-D_FORTIFY_SOURCE=2>
    $<$<BOOL:${ZETO_HAS_STACK_CLASH_PROTECTION}>:-fstack-clash-protection>)
  if(ANDROID OR NOT CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    target_compile_options(zeto_objects PRIVATE -fstack-protector-strong)
  endif()
endif()

set(zeto_map ${PROJECT_SOURCE_DIR}/cmake/zeto.map)
add_library(zeto ${zeto_kind} $<TARGET_OBJECTS:zeto_objects>)
add_library(zeto::zeto ALIAS zeto)
set_target_properties(zeto PROPERTIES LINKER_LANGUAGE C VERSION ${PROJECT_VERSION} SOVERSION 1
  LINK_DEPENDS ${zeto_map} INSTALL_RPATH "$ORIGIN"
  INSTALL_RPATH_USE_LINK_PATH ON) # Debian's liblog lies where the loader does not look
target_include_directories(zeto PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(zeto PRIVATE $<BUILD_INTERFACE:zeto_options> zeto_log m)
if(NOT ZETO_SHARED)
  return()
endif()

target_link_options(zeto PRIVATE LINKER:--version-script=${zeto_map} LINKER:--as-needed LINKER:-Bsymbolic-functions
  LINKER:-z,max-page-size=16384 LINKER:-z,relro,-z,now)
if(NOT ZETO_SANITIZE)  # their run-time libraries come with the program
  target_link_options(zeto PRIVATE LINKER:-z,defs)
endif()
if(NOT ANDROID)
  # The C library's start files only run constructors, of which there are none here; and Debian's for arm64 carry no
  # branch-protection note, which would take it from the whole library.
  target_link_options(zeto PRIVATE -nostartfiles)
endif()
