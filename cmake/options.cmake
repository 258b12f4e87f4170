# How every file of this project is compiled. Multiply and add stay two roundings (-ffp-contract=off), so that every
# compiler, level and machine gives the same bits; nothing here may loosen that.
add_library(zeto_options INTERFACE)
target_compile_features(zeto_options INTERFACE cxx_std_20 c_std_11)
target_compile_options(zeto_options INTERFACE
  -ffp-contract=off -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wdouble-promotion
  -Wcast-align -Wformat=2 -Wundef -Wvla
  $<$<BOOL:${ZETO_WERROR}>:-Werror>)

# GCC joins multiplications and additions in vectorised loops all the same where the machine can: where -march=native or
# the like is asked for, it goes without those instructions. (AVX-512 brings its own.)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64|i.86)$" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(zeto_options INTERFACE -mno-fma -mno-fma4 -mno-avx512f)
endif()

if(ZETO_SANITIZE)
  target_compile_options(zeto_options INTERFACE
    -fsanitize=${ZETO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(zeto_options INTERFACE -fsanitize=${ZETO_SANITIZE})
endif()

# The library itself runs without the C++ runtime.
set(zeto_freestanding_options
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions> $<$<COMPILE_LANGUAGE:CXX>:-fno-rtti>
  $<$<COMPILE_LANGUAGE:CXX>:-fno-threadsafe-statics> -fno-semantic-interposition
  $<$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},aarch64>:-mbranch-protection=standard>)
