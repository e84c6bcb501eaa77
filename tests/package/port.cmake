# Runs packaging/vcpkg/tav/portfile.cmake with plain CMake in the place of vcpkg's functions, and builds
# a host with what it installs.
#
#   cmake -D WORK=... [-D DEPS=...] -P port.cmake
#
# The contents of WORK are deleted; WORK/packages/tav has the result. DEPS: the folder of the libraries
# that cmake/deps.sh has built.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/run_command.cmake")
get_filename_component(root "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)
set(for_windows -G Ninja "-DCMAKE_TOOLCHAIN_FILE=${root}/cmake/mingw-w64.cmake"
                -DCMAKE_BUILD_TYPE=Release)

set(PORT tav)
set(CURRENT_PACKAGES_DIR "${WORK}/packages/${PORT}")
set(build "${WORK}/build")
file(REMOVE_RECURSE "${WORK}")

function(vcpkg_cmake_configure)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "SOURCE_PATH" "OPTIONS")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
  endif()
  set(deps)
  if(DEPS)
    set(deps "-DTAV_DEPS_PREFIX=${DEPS}")
  endif()
  run("${CMAKE_COMMAND}" -S "${arg_SOURCE_PATH}" -B "${build}" ${for_windows} ${deps}
      "-DCMAKE_INSTALL_PREFIX=${CURRENT_PACKAGES_DIR}" ${arg_OPTIONS})
endfunction()

function(vcpkg_cmake_install)
  run("${CMAKE_COMMAND}" --build "${build}" --target install)
endfunction()

# Moves the CMake package to share/<port>, one folder less below the prefix.
function(vcpkg_cmake_config_fixup)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "CONFIG_PATH" "")
  set(share "${CURRENT_PACKAGES_DIR}/share")
  file(MAKE_DIRECTORY "${share}")
  file(RENAME "${CURRENT_PACKAGES_DIR}/${arg_CONFIG_PATH}" "${share}/${PORT}")
  file(READ "${share}/${PORT}/${PORT}Config.cmake" text)
  string(REPLACE "/../../../\" ABSOLUTE" "/../../\" ABSOLUTE" moved "${text}")
  file(WRITE "${share}/${PORT}/${PORT}Config.cmake" "${moved}")
  file(READ "${share}/${PORT}/${PORT}Targets.cmake" targets)
  set(up "get_filename_component(_IMPORT_PREFIX \"\${_IMPORT_PREFIX}\" PATH)\n")
  string(REPLACE "${up}${up}${up}" "${up}${up}" moved_targets "${targets}")
  file(WRITE "${share}/${PORT}/${PORT}Targets.cmake" "${moved_targets}")
  if(text STREQUAL moved OR targets STREQUAL moved_targets)
    message(FATAL_ERROR "the package has not the form that vcpkg moves")
  endif()
endfunction()

function(vcpkg_copy_pdbs)
endfunction()

function(vcpkg_install_copyright)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "" "FILE_LIST")
  foreach(file IN LISTS arg_FILE_LIST)
    file(READ "${file}" text)
    file(APPEND "${CURRENT_PACKAGES_DIR}/share/${PORT}/copyright" "${text}")
  endforeach()
endfunction()

include("${root}/packaging/vcpkg/tav/portfile.cmake")

# What vcpkg's checks after a build would find.
foreach(file IN ITEMS bin/tav.dll include/tav/tav.h share/tav/tavConfig.cmake share/tav/copyright
                      share/tav/usage)
  if(NOT EXISTS "${CURRENT_PACKAGES_DIR}/${file}")
    message(FATAL_ERROR "the port installs no ${file}")
  endif()
endforeach()
foreach(file IN ITEMS lib debug share/doc)
  if(EXISTS "${CURRENT_PACKAGES_DIR}/${file}")
    message(FATAL_ERROR "the port installs ${file}")
  endif()
endforeach()
file(READ "${root}/packaging/vcpkg/tav/vcpkg.json" manifest)
string(JSON version GET "${manifest}" version)
file(READ "${CURRENT_PACKAGES_DIR}/share/tav/tavConfigVersion.cmake" package_version)
string(FIND "${package_version}" "PACKAGE_VERSION \"${version}\"" place)
if(place EQUAL -1)
  message(FATAL_ERROR "vcpkg.json has version ${version}")
endif()

run("${CMAKE_COMMAND}" -S "${root}/examples/minimal" -B "${WORK}/host" ${for_windows}
    "-Dtav_DIR=${CURRENT_PACKAGES_DIR}/share/tav")
run("${CMAKE_COMMAND}" --build "${WORK}/host")
if(NOT EXISTS "${WORK}/host/tav.dll")
  message(FATAL_ERROR "tav.dll is not beside the host")
endif()
