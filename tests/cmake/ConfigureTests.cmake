# Configures the project the ways this machine never builds it: for a Mac, through a toolchain
# stub, and as a subproject of another project. A mistake in either branch of the build then
# fails here instead of on the first machine that takes that branch.

add_test(NAME configure-apple-branch
  COMMAND ${CMAKE_COMMAND}
    -DSOURCE_DIR=${PROJECT_SOURCE_DIR}
    -DBUILD_DIR=${PROJECT_BINARY_DIR}
    -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/configure-apple-branch
    -P ${CMAKE_CURRENT_LIST_DIR}/ConfigureAppleBranch.cmake)

add_test(NAME configure-as-subproject
  COMMAND ${CMAKE_COMMAND}
    -DSOURCE_DIR=${PROJECT_SOURCE_DIR}
    -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/configure-as-subproject
    -DCXX_COMPILER=${CMAKE_CXX_COMPILER}
    -P ${CMAKE_CURRENT_LIST_DIR}/ConfigureAsSubproject.cmake)
