# Installs the library from a build tree, builds host.cpp against the installed package, runs it and
# checks the records that it has written.
#
#   cmake -D BUILD_TREE=... -D CONFIG=... -D WORK=... -D GENERATOR=... -D TOOLCHAIN=...
#         [-D EMULATOR=...] -P run.cmake
#
# The contents of WORK are deleted.
cmake_minimum_required(VERSION 3.25)

set(prefix "${WORK}/installed")
set(build "${WORK}/build")
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}/data")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output
                  ERROR_VARIABLE output)
  if(NOT status EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "${command}: status ${status}\n${output}")
  endif()
endfunction()

run("${CMAKE_COMMAND}" --install "${BUILD_TREE}" --config "${CONFIG}" --prefix "${prefix}")
foreach(file IN ITEMS bin/tav.dll include/tav/tav.h include/tav/tav.hpp
                      lib/cmake/tav/tavConfig.cmake lib/cmake/tav/tavConfigVersion.cmake
                      lib/cmake/tav/tavTargets.cmake share/doc/tav/integration.md)
  if(NOT EXISTS "${prefix}/${file}")
    message(FATAL_ERROR "${file} is not installed")
  endif()
endforeach()
file(GLOB_RECURSE archives "${prefix}/*.a" "${prefix}/*.lib")
if(archives)
  message(FATAL_ERROR "an archive is installed: ${archives}")
endif()

# The package must work in any location.
file(RENAME "${prefix}" "${WORK}/moved")
set(prefix "${WORK}/moved")

file(READ "${prefix}/share/doc/tav/integration.md" document)
string(FIND "${document}" "\n## From C++\n" section)
string(SUBSTRING "${document}" ${section} -1 document)
if(NOT document MATCHES "\n```cpp\n(.*)")
  message(FATAL_ERROR "integration.md has no example in C++")
endif()
string(FIND "${CMAKE_MATCH_1}" "\n```" end)
string(SUBSTRING "${CMAKE_MATCH_1}" 0 ${end} example)
file(WRITE "${WORK}/example.cpp" "${example}\n")

run("${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}" -B "${build}" -G "${GENERATOR}"
    "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}" "-DCMAKE_BUILD_TYPE=${CONFIG}"
    "-Dtav_DIR=${prefix}/lib/cmake/tav" "-DTAV_EXAMPLE=${WORK}/example.cpp"
    "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror")
run("${CMAKE_COMMAND}" --build "${build}" --config "${CONFIG}")

file(GLOB_RECURSE program "${build}/host.exe")
set(ENV{TAV_GATEWAY} "file://${WORK}/records.json")
set(ENV{TAV_CONFIGURATOR} "null://")
run(${EMULATOR} "${program}" "${WORK}/data")

file(READ "${WORK}/records.json" records)
foreach(part IN ITEMS "\"pn\":\"Editor\"" "\"m\":\"DocumentOpened\"" "\"Pages\":12.0"
                      "Plugins:Spelling")
  string(FIND "${records}" "${part}" place)
  if(place EQUAL -1)
    message(FATAL_ERROR "${part} is not in the records: ${records}")
  endif()
endforeach()
