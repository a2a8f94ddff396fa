# Every target of the project compiles warning-free with g++ and clang; CMAKE_COMPILE_WARNING_AS_ERROR
# makes that an error where the project is built for itself.
add_library(tallowbeck_warnings INTERFACE)
target_compile_options(tallowbeck_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual)
