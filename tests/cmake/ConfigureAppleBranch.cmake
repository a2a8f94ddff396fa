# Configures and generates the project as for a Mac (see DarwinToolchainStub.cmake), with checks
# of the Apple branch run inside the configuration (AppleBranchChecks.cmake), and makes sure the
# Objective-C++ source is compiled as such.
#
#   cmake -DSOURCE_DIR=<repository> -DWORK_DIR=<scratch folder> [-DBUILD_BENCHMARKS=ON|OFF]
#         [-DPACKAGE_HINTS=<-D<package>_DIR=... list>] -P <this file>
#
# The benchmarks are configured as in the build that runs this, which found their package or
# did not look for it.

foreach(variable IN ITEMS SOURCE_DIR WORK_DIR)
  if(NOT DEFINED ${variable})
    message(FATAL_ERROR "${variable} is not set")
  endif()
endforeach()
if(NOT DEFINED BUILD_BENCHMARKS)
  set(BUILD_BENCHMARKS ON)
endif()

file(REMOVE_RECURSE ${WORK_DIR})
execute_process(
  COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR} -G Ninja
    --toolchain ${CMAKE_CURRENT_LIST_DIR}/DarwinToolchainStub.cmake
    -DCMAKE_PROJECT_INCLUDE=${CMAKE_CURRENT_LIST_DIR}/AppleBranchChecks.cmake
    -DTALLOWBECK_BUILD_TESTS=ON -DTALLOWBECK_BUILD_BENCHMARKS=${BUILD_BENCHMARKS}
    ${PACKAGE_HINTS}
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "The Apple branch does not configure")
endif()

file(READ ${WORK_DIR}/build.ninja build_rules)
if(NOT build_rules MATCHES "DarwinProcessThermalState\\.mm\\.o: OBJCXX_COMPILER__TallowbeckCore")
  message(FATAL_ERROR "The Objective-C++ source is not compiled as Objective-C++")
endif()
message(STATUS "The Apple branch configures")
