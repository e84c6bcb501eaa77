# An overlay port that builds the sources it lies in.
get_filename_component(source "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)

# Hosts load the DLL at run time, so that one build serves all configurations and there is no import
# library. zlib and jansson are linked into it, which is why the triplet must be static.
set(VCPKG_BUILD_TYPE release)
set(VCPKG_POLICY_DLLS_WITHOUT_LIBS enabled)
set(VCPKG_POLICY_DLLS_IN_STATIC_LIBRARY enabled)

vcpkg_cmake_configure(
  SOURCE_PATH "${source}"
  OPTIONS
    -DTAV_BUILD_TOOLS=OFF
    -DTAV_BUILD_TESTS=OFF
    -DTAV_INSTALL=ON
    -DTAV_WERROR=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(CONFIG_PATH lib/cmake/tav)
vcpkg_copy_pdbs()

file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/lib" "${CURRENT_PACKAGES_DIR}/share/doc")
if(EXISTS "${CURRENT_PACKAGES_DIR}/symbols")
  file(RENAME "${CURRENT_PACKAGES_DIR}/symbols" "${CURRENT_PACKAGES_DIR}/share/${PORT}/symbols")
endif()
file(INSTALL "${CMAKE_CURRENT_LIST_DIR}/usage" DESTINATION "${CURRENT_PACKAGES_DIR}/share/${PORT}")
vcpkg_install_copyright(FILE_LIST "${source}/LICENSE" "${source}/docs/third-party.md")
