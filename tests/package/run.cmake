# Packs a release from a build tree, unpacks it into an empty folder, and uses it as its reader would:
# builds host.cpp and the examples against it, runs host.cpp, and lets an example report to the
# release's gateway.
#
#   cmake -D BUILD_TREE=... -D CONFIG=... -D WORK=... -D GENERATOR=... -D TOOLCHAIN=...
#         -D EMULATOR=... -P run.cmake
#
# The contents of WORK are deleted.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/run_command.cmake")
get_filename_component(root "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)

file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}/data")

# Packing twice gives the same bytes.
foreach(dist IN ITEMS dist again)
  run("${root}/tools/package/package.sh" "${BUILD_TREE}" "${WORK}/${dist}")
endforeach()
file(GLOB zip "${WORK}/dist/tav-*-win64.zip")
file(GLOB nupkg "${WORK}/dist/tav.*.nupkg")
foreach(archive IN LISTS zip nupkg)
  get_filename_component(name "${archive}" NAME)
  run("${CMAKE_COMMAND}" -E compare_files "${archive}" "${WORK}/again/${name}")
  file(SHA256 "${archive}" sum)
  file(READ "${archive}.sha256" line)
  if(NOT line STREQUAL "${sum}  ${name}\n")
    message(FATAL_ERROR "${name}.sha256 has: ${line}")
  endif()
endforeach()

file(ARCHIVE_EXTRACT INPUT "${nupkg}" DESTINATION "${WORK}/nuget")
foreach(file IN ITEMS "[Content_Types].xml" _rels/.rels tav.nuspec LICENSE.txt NOTICES.md README.md
                      build/native/tav.targets build/native/include/tav/tav.h
                      runtimes/win-x64/native/tav.dll)
  if(NOT EXISTS "${WORK}/nuget/${file}")
    message(FATAL_ERROR "the NuGet package has no ${file}")
  endif()
endforeach()

file(ARCHIVE_EXTRACT INPUT "${zip}" DESTINATION "${WORK}/unpacked")
file(GLOB prefix "${WORK}/unpacked/tav-*-win64")
foreach(file IN ITEMS bin/tav.dll bin/gateway.exe bin/tavcat.exe bin/minimal_host.exe
                      symbols/tav.dll.debug include/tav/tav.h include/tav/tav.hpp
                      lib/cmake/tav/tavConfig.cmake docs/integration.md
                      README.md LICENSE NOTICES.md CHANGELOG.md)
  if(NOT EXISTS "${prefix}/${file}")
    message(FATAL_ERROR "${file} is not in the release")
  endif()
endforeach()
file(GLOB_RECURSE archives "${prefix}/*.a" "${prefix}/*.lib")
if(archives)
  message(FATAL_ERROR "an archive is in the release: ${archives}")
endif()
run("${CMAKE_CURRENT_LIST_DIR}/symbols.sh" "${prefix}")
run("${CMAKE_CURRENT_LIST_DIR}/links.sh" "${prefix}")

function(build_host type source build)
  run("${CMAKE_COMMAND}" -S "${source}" -B "${build}" -G "${GENERATOR}"
      "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}" "-DCMAKE_BUILD_TYPE=${type}"
      "-Dtav_DIR=${prefix}/lib/cmake/tav" ${ARGN})
  run("${CMAKE_COMMAND}" --build "${build}" --config "${type}")
endfunction()

file(READ "${prefix}/docs/integration.md" document)
string(FIND "${document}" "\n## From C++\n" section)
string(SUBSTRING "${document}" ${section} -1 document)
if(NOT document MATCHES "\n```cpp\n(.*)")
  message(FATAL_ERROR "integration.md has no example in C++")
endif()
string(FIND "${CMAKE_MATCH_1}" "\n```" end)
string(SUBSTRING "${CMAKE_MATCH_1}" 0 ${end} example)
file(WRITE "${WORK}/example.cpp" "${example}\n")
build_host(${CONFIG} "${CMAKE_CURRENT_LIST_DIR}" "${WORK}/build" "-DTAV_EXAMPLE=${WORK}/example.cpp"
           "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror")

set(ENV{TAV_GATEWAY} "file://${WORK}/records.json")
set(ENV{TAV_CONFIGURATOR} "null://")
run(${EMULATOR} "${WORK}/build/host.exe" "${WORK}/data")

file(READ "${WORK}/records.json" records)
foreach(part IN ITEMS "\"pn\":\"Editor\"" "\"m\":\"DocumentOpened\"" "\"Pages\":12.0"
                      "Plugins:Spelling")
  string(FIND "${records}" "${part}" place)
  if(place EQUAL -1)
    message(FATAL_ERROR "${part} is not in the records: ${records}")
  endif()
endforeach()

# Each example is a project of its own. The list of folders with a project is that of the release.
file(GLOB examples "${prefix}/examples/*/CMakeLists.txt")
list(LENGTH examples count)
if(count LESS 5)
  message(FATAL_ERROR "the release has ${count} examples")
endif()
foreach(example IN LISTS examples)
  get_filename_component(folder "${example}" DIRECTORY)
  get_filename_component(name "${folder}" NAME)
  build_host(Debug "${folder}" "${WORK}/examples/${name}")
endforeach()

# From the example to the gateway's interface.
set(store "${WORK}/tav.db")
set(ENV{TAV_PACKAGED_GATEWAY} "${prefix}/bin/gateway.exe")
run("${root}/tests/support/with_gateway.sh" "${CMAKE_CURRENT_LIST_DIR}/gateway.sh"
    --store "${store}" --
    "${root}/tests/support/host_reports.sh" "${root}/tests/examples/minimal_host.events" --
    ${EMULATOR} "${WORK}/examples/minimal/minimal_host.exe")
if(NOT EXISTS "${store}")
  message(FATAL_ERROR "the gateway has kept no store")
endif()
