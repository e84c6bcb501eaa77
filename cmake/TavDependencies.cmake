# zlib and jansson, the library's only dependencies: linked statically into the DLL for Windows, the
# system's packages in native builds; and CLI11 for the tools. A project that this one is part of may
# have defined the targets of the two libraries itself.

if(WIN32)
  set(ZLIB_USE_STATIC_LIBS ON)
endif()
if(NOT TARGET ZLIB::ZLIB)
  find_package(ZLIB REQUIRED)
endif()

# Debian's native package of jansson has no CMake configuration; vcpkg and a build from source do.
if(NOT TARGET jansson::jansson)
  find_package(jansson CONFIG QUIET)
endif()
if(NOT TARGET jansson::jansson)
  find_path(JANSSON_INCLUDE_DIR jansson.h)
  find_library(JANSSON_LIBRARY jansson)
  if(NOT JANSSON_INCLUDE_DIR OR NOT JANSSON_LIBRARY)
    message(FATAL_ERROR "jansson not found; cmake/deps.sh installs it")
  endif()
  add_library(jansson::jansson UNKNOWN IMPORTED)
  set_target_properties(jansson::jansson PROPERTIES
    IMPORTED_LOCATION "${JANSSON_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${JANSSON_INCLUDE_DIR}")
endif()

set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

if(NOT TAV_BUILD_TOOLS)
  return()
endif()

# tav_find_headers(<target> <header>)
# A library that is headers only. Debian's package suits every system, but the folder it is in also has
# this machine's own headers: a cross build sees those of the library alone, by a link.
function(tav_find_headers target header)
  cmake_path(GET header PARENT_PATH folder)
  find_path(TAV_${folder}_INCLUDE_DIR ${header} PATHS /usr/include
            NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  if(NOT TAV_${folder}_INCLUDE_DIR)
    message(FATAL_ERROR "${header} not found; cmake/deps.sh installs it")
  endif()
  set(links "${CMAKE_BINARY_DIR}/headers")
  file(MAKE_DIRECTORY "${links}")
  file(CREATE_LINK "${TAV_${folder}_INCLUDE_DIR}/${folder}" "${links}/${folder}" SYMBOLIC)
  add_library(${target} INTERFACE IMPORTED)
  set_target_properties(${target} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${links}")
endfunction()

# The command lines of the tools.
if(CMAKE_CROSSCOMPILING)
  tav_find_headers(CLI11::CLI11 CLI/CLI.hpp)
else()
  find_package(CLI11 CONFIG REQUIRED)
endif()

# Debian ships googletest as sources, vcpkg as a library.
function(tav_find_googletest)
  if(MSVC)
    find_package(GTest CONFIG REQUIRED)
    return()
  endif()
  set(TAV_GOOGLETEST_DIR /usr/src/googletest/googletest CACHE PATH "googletest's source folder")
  if(NOT EXISTS "${TAV_GOOGLETEST_DIR}/CMakeLists.txt")
    message(FATAL_ERROR "googletest's sources not found in ${TAV_GOOGLETEST_DIR}: install Debian's "
                        "package googletest (cmake/deps.sh does) or set TAV_BUILD_TESTS=OFF")
  endif()
  add_subdirectory("${TAV_GOOGLETEST_DIR}" "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
  # Optimising googletest takes longer than the tests gain by it. But GNU ld needs time in proportion
  # to the square of a PE object's sections, of which -O0 leaves one for each inline function.
  target_compile_options(gtest PRIVATE
    $<IF:$<BOOL:${MINGW}>,-O1,-O0> -g0 -fno-function-sections -fno-data-sections)
  foreach(library IN ITEMS gtest gtest_main)
    if(NOT TARGET GTest::${library})
      add_library(GTest::${library} ALIAS ${library})
    endif()
  endforeach()
endfunction()
