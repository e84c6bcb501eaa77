# `cmake --install <build tree> --prefix <folder>` installs for hosts the DLL, the headers, the
# documents, and a CMake package that finds them. The folder can be moved.
#
#   bin/tav.dll   include/tav/   lib/cmake/tav/   share/doc/tav/
include(CMakePackageConfigHelpers)

set(package_folder lib/cmake/tav)

# No import library: hosts load the DLL at run time.
add_library(tav_package INTERFACE)
set_target_properties(tav_package PROPERTIES EXPORT_NAME tav)
target_include_directories(tav_package INTERFACE $<INSTALL_INTERFACE:include>)
install(TARGETS tav_package EXPORT tavTargets)
install(EXPORT tavTargets NAMESPACE tav:: DESTINATION ${package_folder})

configure_package_config_file(cmake/tavConfig.cmake.in "${PROJECT_BINARY_DIR}/package/tavConfig.cmake"
  INSTALL_DESTINATION ${package_folder}
  NO_SET_AND_CHECK_MACRO
  NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/package/tavConfigVersion.cmake"
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/package/tavConfig.cmake"
    "${PROJECT_BINARY_DIR}/package/tavConfigVersion.cmake"
  DESTINATION ${package_folder})

install(FILES "$<TARGET_FILE:tav>" DESTINATION bin)
install(DIRECTORY include/tav DESTINATION include FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")
install(DIRECTORY docs/ DESTINATION share/doc/tav FILES_MATCHING PATTERN "*.md")
install(FILES CHANGELOG.md LICENSE DESTINATION share/doc/tav)
install(FILES examples/minimal/host.c DESTINATION share/doc/tav/examples/minimal)
