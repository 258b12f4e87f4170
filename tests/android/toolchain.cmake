# Stands in for the NDK's toolchain file where there is no NDK: what that file tells CMake, and Debian's clang, whose
# code for Android needs the NDK's C library to be linked. Its C headers are replaced by those of Linux on arm64.
set(CMAKE_SYSTEM_NAME Android)
set(CMAKE_SYSTEM_VERSION 1) # CMake's own search for an NDK is off, as the NDK's file has it
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(ANDROID TRUE)
set(ANDROID_ABI arm64-v8a)
set(ANDROID_STL none)
set(ANDROID_PLATFORM_LEVEL 26)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET aarch64-linux-android${ANDROID_PLATFORM_LEVEL})
set(CMAKE_CXX_COMPILER_TARGET ${CMAKE_C_COMPILER_TARGET})
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_C_FLAGS_INIT "-isystem /usr/aarch64-linux-gnu/include")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT} -nostdinc++") # ANDROID_STL=none: no header of a C++ library either
# The platform's libraries are stand-ins, and its start files are not there.
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-fuse-ld=lld -nostdlib -L${CMAKE_BINARY_DIR}/stand-ins")
set(CMAKE_C_STANDARD_LIBRARIES_INIT "-lc")
set(CMAKE_FIND_ROOT_PATH /nonexistent)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
