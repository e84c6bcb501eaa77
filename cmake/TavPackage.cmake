# What hosts get, either of a source tree that is part of their project or of an installed package:
#
#   tav::tav                    the include path of tav/tav.h and tav/tav.hpp; nothing is linked. Its
#                               property TAV_LIBRARY is the path of tav.dll, for install(FILES).
#   tav_copy_library(<target>)  copies tav.dll beside the program <target> after it was built
#
# `cmake --install <build tree> --prefix <folder>` installs for hosts the DLL, the programs that are
# built, the headers, the documents, the examples and a CMake package that finds the DLL. The folder
# can be moved.
#
#   bin/   symbols/   include/tav/   lib/cmake/tav/   share/doc/tav/
include(CMakePackageConfigHelpers)
include("${CMAKE_CURRENT_LIST_DIR}/TavCopyLibrary.cmake")

set(package_folder lib/cmake/tav)
set(document_folder share/doc/tav)

# No import library: hosts load the DLL at run time.
add_library(tav_package INTERFACE)
add_library(tav::tav ALIAS tav_package)
add_dependencies(tav_package tav)
set_target_properties(tav_package PROPERTIES EXPORT_NAME tav TAV_LIBRARY "$<TARGET_FILE:tav>")
target_include_directories(tav_package INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:include>)

# tav_install_programs(<target>...) installs those that exist and were built, and makes them part of
# package_contents.
function(tav_install_programs)
  foreach(target IN LISTS ARGN)
    if(NOT TARGET ${target})
      continue()
    endif()
    add_dependencies(package_contents ${target})
    if(MINGW)
      target_link_options(${target} PRIVATE $<$<CONFIG:Release>:-s>)
    endif()
    if(TAV_INSTALL)
      install(PROGRAMS "$<TARGET_FILE:${target}>" DESTINATION bin OPTIONAL)
    endif()
  endforeach()
endfunction()

if(NOT TAV_INSTALL)
  return()
endif()

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
    cmake/TavCopyLibrary.cmake
  DESTINATION ${package_folder})

install(FILES "$<TARGET_FILE:tav>" DESTINATION bin)
if(MINGW)
  install(FILES "$<TARGET_FILE:tav>.debug" DESTINATION symbols OPTIONAL)
endif()
install(DIRECTORY include/tav DESTINATION include FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")

# The documents and what they link to.
install(FILES CHANGELOG.md LICENSE SECURITY.md DESTINATION ${document_folder})
install(FILES docs/third-party.md DESTINATION ${document_folder} RENAME NOTICES.md)
install(FILES packaging/release.md DESTINATION ${document_folder} RENAME README.md)
# Not the output of bindings' own tools, nor the list of examples of this tree.
install(DIRECTORY docs bindings examples DESTINATION ${document_folder}
  PATTERN node_modules EXCLUDE
  PATTERN target EXCLUDE
  PATTERN __pycache__ EXCLUDE
  REGEX "/examples/CMakeLists\\.txt$" EXCLUDE)
