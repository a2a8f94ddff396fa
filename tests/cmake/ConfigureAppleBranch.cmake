# Configures and generates the project as for a Mac (see DarwinToolchainStub.cmake), with checks
# of the Apple branch run inside the configuration (AppleBranchChecks.cmake), and makes sure the
# Objective-C++ source is compiled as such.
#
#   cmake -DSOURCE_DIR=<repository> -DBUILD_DIR=<build running this> -DWORK_DIR=<scratch folder>
#         -P <this file>
#
# The packages are taken from the folders where the build running this found them, since the Mac
# configuration does not search this system's library paths; the benchmarks are configured as in
# that build, which found their package or did not look for it.

foreach(variable IN ITEMS SOURCE_DIR BUILD_DIR WORK_DIR)
  if(NOT DEFINED ${variable})
    message(FATAL_ERROR "${variable} is not set")
  endif()
endforeach()

set(packages simdjson GTest CLI11 fmt benchmark prometheus-cpp civetweb)
list(TRANSFORM packages APPEND _DIR OUTPUT_VARIABLE package_folders)
# What prometheus-cpp's own package looks for in turn, found by find modules.
set(found_by_modules LIBDL_INCLUDE_DIRS LIBDL_LIBRARIES LIBRT_INCLUDE_DIRS LIBRT_LIBRARIES
  ZLIB_INCLUDE_DIR ZLIB_LIBRARY_RELEASE CURL_INCLUDE_DIR CURL_LIBRARY_RELEASE)
load_cache(${BUILD_DIR} READ_WITH_PREFIX outer_ TALLOWBECK_BUILD_BENCHMARKS ${package_folders}
  ${found_by_modules})
set(package_hints "")
foreach(variable IN LISTS package_folders found_by_modules)
  if(outer_${variable})
    list(APPEND package_hints "-D${variable}=${outer_${variable}}")
  endif()
endforeach()

file(REMOVE_RECURSE ${WORK_DIR})
execute_process(
  COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR} -G Ninja
    --toolchain ${CMAKE_CURRENT_LIST_DIR}/DarwinToolchainStub.cmake
    -DCMAKE_PROJECT_INCLUDE=${CMAKE_CURRENT_LIST_DIR}/AppleBranchChecks.cmake
    -DTALLOWBECK_BUILD_TESTS=ON -DTALLOWBECK_BUILD_BENCHMARKS=${outer_TALLOWBECK_BUILD_BENCHMARKS}
    ${package_hints}
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "The Apple branch does not configure")
endif()

file(READ ${WORK_DIR}/build.ninja build_rules)
if(NOT build_rules MATCHES "DarwinProcessThermalState\\.mm\\.o: OBJCXX_COMPILER__TallowbeckCore")
  message(FATAL_ERROR "The Objective-C++ source is not compiled as Objective-C++")
endif()
message(STATUS "The Apple branch configures")
