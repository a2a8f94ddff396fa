# Compiles each TallowbeckCore/platform/darwin/*.cpp for syntax only, as a Mac build would see
# it, and each *.mm the same way as Objective-C++, and the fan helper's fanhelper/darwin/*.mm as
# the Objective-C++ with automatic reference counting that it is built as; fails when any of them
# does not compile.
# The sources are found when the test runs, so a new file is covered without reconfiguring.
#
#   cmake -DCXX_COMPILER=<c++> -DSOURCE_DIR=<repository> [-DOBJCXX_COMPILER=<c++ that parses
#         Objective-C++>] [-DWARNINGS="<flags>"] -P <this file>

# A script run with -P starts with every policy unset; IN_LIST below needs the new behaviour.
cmake_minimum_required(VERSION 3.25)

foreach(variable IN ITEMS CXX_COMPILER SOURCE_DIR)
  if(NOT DEFINED ${variable})
    message(FATAL_ERROR "${variable} is not set")
  endif()
endforeach()
separate_arguments(warnings UNIX_COMMAND "${WARNINGS}")

file(GLOB sources "${SOURCE_DIR}/TallowbeckCore/platform/darwin/*.cpp")
file(GLOB objcxx_sources "${SOURCE_DIR}/TallowbeckCore/platform/darwin/*.mm")
file(GLOB arc_sources "${SOURCE_DIR}/fanhelper/darwin/*.mm")
if(NOT sources)
  message(FATAL_ERROR "No Darwin sources in ${SOURCE_DIR}/TallowbeckCore/platform/darwin")
endif()

set(failures "")
# Compiles `source` with `compiler` and the language options given after the source; a source
# that does not compile is added to `failures`.
macro(check_syntax compiler source)
  execute_process(
    COMMAND ${compiler} ${ARGN} -std=c++20 -fsyntax-only -D__APPLE__ -Wall -Wextra -Werror
      ${warnings} -isystem ${SOURCE_DIR}/tests/darwin-sdk -I${SOURCE_DIR} ${source}
    RESULT_VARIABLE result
    OUTPUT_VARIABLE diagnostics
    ERROR_VARIABLE diagnostics)
  file(RELATIVE_PATH name "${SOURCE_DIR}" "${source}")
  if(result EQUAL 0)
    message(STATUS "compiles: ${name}")
  else()
    message("does not compile: ${name}\n${diagnostics}")
    list(APPEND failures "${name}")
  endif()
endmacro()

foreach(source IN LISTS sources)
  check_syntax(${CXX_COMPILER} ${source})
endforeach()
foreach(source IN LISTS objcxx_sources arc_sources)
  if(source IN_LIST arc_sources)
    set(memory_management -fobjc-arc)
  else()
    set(memory_management "")
  endif()
  if(OBJCXX_COMPILER)
    check_syntax(${OBJCXX_COMPILER} ${source} -x objective-c++ -fobjc-runtime=macosx -fblocks
      ${memory_management})
  else()
    file(RELATIVE_PATH name "${SOURCE_DIR}" "${source}")
    message("not checked, no compiler for Objective-C++ (clang++) was found: ${name}")
    list(APPEND failures "${name}")
  endif()
endforeach()

if(failures)
  list(JOIN failures ", " failures)
  message(FATAL_ERROR "Darwin sources that do not compile: ${failures}")
endif()
