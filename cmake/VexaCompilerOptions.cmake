# One INTERFACE target carries warnings and sanitizer options; every target of
# the project links it.
add_library(vexa_compile_options INTERFACE)
target_compile_options(vexa_compile_options INTERFACE -Wall -Wextra -Wpedantic)
if(VEXA_WERROR)
  target_compile_options(vexa_compile_options INTERFACE -Werror)
endif()
if(VEXA_FUZZ AND NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  message(FATAL_ERROR "VEXA_FUZZ needs clang (CC=clang CXX=clang++)")
endif()
if(VEXA_TSAN AND (VEXA_SANITIZE OR VEXA_FUZZ))
  message(FATAL_ERROR "VEXA_TSAN cannot be combined with VEXA_SANITIZE or VEXA_FUZZ")
endif()
if(VEXA_SANITIZE OR VEXA_FUZZ)
  target_compile_options(vexa_compile_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(vexa_compile_options INTERFACE -fsanitize=address,undefined)
endif()
if(VEXA_FUZZ)
  # Coverage for the fuzzers in every target; only the fuzz targets link
  # libFuzzer's main (tests/fuzz).
  target_compile_options(vexa_compile_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(VEXA_TSAN)
  target_compile_options(vexa_compile_options INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(vexa_compile_options INTERFACE -fsanitize=thread)
endif()
