# Warnings and sanitizers shared by every target of the build.
set(CAIRN_WARNINGS -Wall -Wextra -Wshadow -Wno-unused-parameter)
if(CAIRN_WERROR)
  list(APPEND CAIRN_WARNINGS -Werror)
endif()

if(CAIRN_SANITIZE)
  string(REPLACE ";" "," _cairn_san "${CAIRN_SANITIZE}")
  add_compile_options(-fsanitize=${_cairn_san} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${_cairn_san})
endif()
