# Warnings and sanitizers for the project's own targets (not for third-party sources).
function(lumiva_strict target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror)
endfunction()

if(LUMIVA_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(LUMIVA_TSAN)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()
