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

# Fuzzing needs coverage feedback from the library's code, not only from the
# fuzz targets themselves.
if(CAIRN_BUILD_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
