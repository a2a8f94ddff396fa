include(CMakePackageConfigHelpers)

install(TARGETS TallowbeckCore EXPORT TallowbeckCoreTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS tallowbeck-watchdog tallowbeck tallowbeck-fan-helper RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/TallowbeckCore/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/TallowbeckCore
  FILES_MATCHING PATTERN "*.hpp"
  PATTERN "darwin" EXCLUDE PATTERN "linux" EXCLUDE
  # Internal: keep the JSON parser out of the installed interface.
  PATTERN "JSONObject.hpp" EXCLUDE PATTERN "OnDemandJSONObject.hpp" EXCLUDE
  # Internal: shared by the Linux and Darwin file calls only.
  PATTERN "PosixFileCalls.hpp" EXCLUDE)

set(TALLOWBECK_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/TallowbeckCore)
install(EXPORT TallowbeckCoreTargets NAMESPACE Tallowbeck:: DESTINATION ${TALLOWBECK_CMAKE_DIR})
configure_package_config_file(cmake/TallowbeckCoreConfig.cmake.in
  ${PROJECT_BINARY_DIR}/TallowbeckCoreConfig.cmake
  INSTALL_DESTINATION ${TALLOWBECK_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TallowbeckCoreConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/TallowbeckCoreConfig.cmake
  ${PROJECT_BINARY_DIR}/TallowbeckCoreConfigVersion.cmake
  DESTINATION ${TALLOWBECK_CMAKE_DIR})
