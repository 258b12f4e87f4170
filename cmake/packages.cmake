# Debian packages, one per component: `cmake --workflow --preset package` puts them into build/packages.
if(NOT (PROJECT_IS_TOP_LEVEL AND ZETO_INSTALL AND ZETO_SHARED AND TARGET zeto_help))
  return()
endif()
set(ZETO_PACKAGE_CONTACT "libzeto maintainers <maintainers@zeto.invalid>" CACHE STRING "Maintainer of the packages")
mark_as_advanced(ZETO_PACKAGE_CONTACT)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGE_CONTACT ${ZETO_PACKAGE_CONTACT})
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

# zeto_package(COMPONENT NAME SECTION SUMMARY TEXT)
function(zeto_package component name section summary text)
  string(TOUPPER ${component} upper)
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} RENAME copyright
    COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()

get_target_property(abi zeto SOVERSION)
set(library libzeto${abi})
zeto_package(library ${library} libs "ultrasonic sensing in a phone's voice path: library"
  "Makes an inaudible chirp on playback and measures the delay of its echo on capture.")
zeto_package(development libzeto-dev libdevel "ultrasonic sensing in a phone's voice path: development files"
  "Headers of the library libzeto, its host kit (a static library), CMake package and pkg-config files.")
zeto_package(tool zeto sound "ultrasonic sensing in a phone's voice path: command-line tool"
  "Makes the chirp, looks at it, simulates a phone and measures echoes in recordings.")
zeto_package(python python3-zeto python "ultrasonic sensing in a phone's voice path: Python module"
  "The wrappers and the host kit of libzeto with NumPy arrays in and out, and plots.")

set(same "${library} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ${same})
# What the module's own library needs, that package needs too.
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "${same}, python3, python3-numpy")
set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS "zeto, python3-matplotlib")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
  "${PROJECT_SOURCE_DIR}/cmake/debian/postinst;${PROJECT_SOURCE_DIR}/cmake/debian/prerm")
include(CPack)
