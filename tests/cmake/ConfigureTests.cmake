# Configures the project the ways this machine never builds it: for a Mac, through a toolchain
# stub, and as a subproject of another project. A mistake in either branch of the build then
# fails here instead of on the first machine that takes that branch.

# The package folders found for this build, so that the Mac configuration finds the same ones
# without this system's library paths.
set(TALLOWBECK_PACKAGE_HINTS "")
foreach(package IN ITEMS simdjson GTest CLI11 fmt benchmark)
  if(${package}_DIR)
    list(APPEND TALLOWBECK_PACKAGE_HINTS "-D${package}_DIR=${${package}_DIR}")
  endif()
endforeach()

add_test(NAME configure-apple-branch
  COMMAND ${CMAKE_COMMAND}
    -DSOURCE_DIR=${PROJECT_SOURCE_DIR}
    -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/configure-apple-branch
    "-DPACKAGE_HINTS=${TALLOWBECK_PACKAGE_HINTS}"
    -DBUILD_BENCHMARKS=${TALLOWBECK_BUILD_BENCHMARKS}
    -P ${CMAKE_CURRENT_LIST_DIR}/ConfigureAppleBranch.cmake)

add_test(NAME configure-as-subproject
  COMMAND ${CMAKE_COMMAND}
    -DSOURCE_DIR=${PROJECT_SOURCE_DIR}
    -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/configure-as-subproject
    -DCXX_COMPILER=${CMAKE_CXX_COMPILER}
    -P ${CMAKE_CURRENT_LIST_DIR}/ConfigureAsSubproject.cmake)
