# The warnings that all code is clean of, with g++ 12 and clang 14.
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow)
option(DWARF2_WERROR "Take a warning for an error" OFF)
if(DWARF2_WERROR)
  add_compile_options(-Werror)
endif()
