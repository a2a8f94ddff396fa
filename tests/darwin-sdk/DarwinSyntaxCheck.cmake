# The Darwin platform layer cannot be built here, so every source of it is compiled with
# -fsyntax-only against the declarations in this folder of the Apple APIs it calls. The project's
# warnings apply; the declarations are a system include directory, as the SDK is on a Mac.
get_target_property(TALLOWBECK_DARWIN_CHECK_WARNINGS tallowbeck_warnings INTERFACE_COMPILE_OPTIONS)
list(JOIN TALLOWBECK_DARWIN_CHECK_WARNINGS " " TALLOWBECK_DARWIN_CHECK_WARNINGS)
# The Objective-C++ sources need a compiler with that front end, which GCC builds usually lack;
# clang++ checks them when the project itself is compiled with g++.
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  set(TALLOWBECK_OBJCXX_CHECK_COMPILER ${CMAKE_CXX_COMPILER})
else()
  find_program(TALLOWBECK_OBJCXX_CHECK_COMPILER NAMES clang++)
endif()

add_test(NAME darwin-syntax-check
  COMMAND ${CMAKE_COMMAND}
    -DCXX_COMPILER=${CMAKE_CXX_COMPILER}
    -DOBJCXX_COMPILER=${TALLOWBECK_OBJCXX_CHECK_COMPILER}
    -DSOURCE_DIR=${PROJECT_SOURCE_DIR}
    "-DWARNINGS=${TALLOWBECK_DARWIN_CHECK_WARNINGS}"
    -P ${CMAKE_CURRENT_LIST_DIR}/CompileDarwinSources.cmake)
