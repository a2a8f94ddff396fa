# Every target of the project compiles warning-free with g++ and clang.
add_library(tallowbeck_warnings INTERFACE)
target_compile_options(tallowbeck_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual -Werror)
