# One INTERFACE target carries warnings and sanitizer options; every target of
# the project links it.
add_library(vexa_compile_options INTERFACE)
target_compile_options(vexa_compile_options INTERFACE -Wall -Wextra -Wpedantic)
if(VEXA_WERROR)
  target_compile_options(vexa_compile_options INTERFACE -Werror)
endif()
if(VEXA_SANITIZE)
  target_compile_options(vexa_compile_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(vexa_compile_options INTERFACE -fsanitize=address,undefined)
endif()
