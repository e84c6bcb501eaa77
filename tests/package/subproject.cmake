# Configures tests/package/subproject with FetchContent, of this folder and of its last commit, and with
# add_subdirectory, builds it, runs it and checks the record that it writes.
#
#   cmake -D WORK=... [-D DEPS=...] -P subproject.cmake
#
# The contents of WORK are deleted. DEPS: the folder of the libraries that cmake/deps.sh has built, if it
# is not this tree's.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/run_command.cmake")
get_filename_component(source "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)

set(deps)
if(DEPS)
  set(deps "-DTAV_DEPS_PREFIX=${DEPS}")
endif()
file(REMOVE_RECURSE "${WORK}")
run(git clone --quiet --bare "${source}" "${WORK}/tav.git")
execute_process(COMMAND git -C "${WORK}/tav.git" rev-parse HEAD OUTPUT_VARIABLE commit
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
foreach(way IN ITEMS FetchContent git add_subdirectory)
  run("${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}/subproject" -B "${WORK}/${way}" -G Ninja
      "-DCMAKE_TOOLCHAIN_FILE=${source}/cmake/mingw-w64.cmake" -DCMAKE_BUILD_TYPE=Release
      "-DTAV_SOURCE=${source}" "-DTAV_WAY=${way}" "-DTAV_REPOSITORY=${WORK}/tav.git"
      "-DTAV_COMMIT=${commit}" ${deps})
endforeach()

set(build "${WORK}/FetchContent")
run("${CMAKE_COMMAND}" --build "${build}" --target consumer)
set(ENV{TAV_GATEWAY} "file://${WORK}/records.json")
set(ENV{TAV_CONFIGURATOR} "null://")
run("${source}/tools/wine/run.sh" "${build}/consumer.exe")
file(READ "${WORK}/records.json" records)
if(NOT records MATCHES "\"m\":\"DocumentOpened\"")
  message(FATAL_ERROR "the event is not in the records: ${records}")
endif()
message("   the library as a part of another project: only its own targets, and a host that reports")
