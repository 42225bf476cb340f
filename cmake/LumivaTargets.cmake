# Warnings and sanitizers for the project's own targets (not for third-party sources).
function(lumiva_strict target)
  # Floating-point expressions round as written, never fused into multiply-adds, so the
  # reference and SIMD forms give the same bits whatever the host's instruction set.
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror -ffp-contract=off)
endfunction()

if(LUMIVA_SANITIZE)
  add_compile_options(-fsanitize=address,undefined,float-cast-overflow -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined,float-cast-overflow)
endif()
if(LUMIVA_FUZZ)
  # Coverage for the fuzzer everywhere, with the address and undefined-behaviour checks; the
  # fuzz targets add the fuzzer's own main when they link.
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined,float-cast-overflow -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined,float-cast-overflow)
endif()
if(LUMIVA_TSAN)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()
