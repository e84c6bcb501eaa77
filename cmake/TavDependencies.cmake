# zlib and jansson, the library's only dependencies: linked statically into the DLL for Windows, the
# system's packages in native builds; and CLI11 for the tools.

if(WIN32)
  set(ZLIB_USE_STATIC_LIBS ON)
endif()
find_package(ZLIB REQUIRED)

# Debian's native package of jansson has no CMake configuration; vcpkg and a build from source do.
find_package(jansson CONFIG QUIET)
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

# The command lines of the tools: headers only. Debian's package suits every target, but the folder it
# is in also has this machine's own headers: a cross build sees CLI11's alone, by a link.
if(CMAKE_CROSSCOMPILING)
  find_path(TAV_CLI11_INCLUDE_DIR CLI/CLI.hpp PATHS /usr/include
            NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  if(NOT TAV_CLI11_INCLUDE_DIR)
    message(FATAL_ERROR "CLI11 not found; cmake/deps.sh installs it")
  endif()
  set(cli11 "${CMAKE_BINARY_DIR}/cli11")
  file(MAKE_DIRECTORY "${cli11}")
  file(CREATE_LINK "${TAV_CLI11_INCLUDE_DIR}/CLI" "${cli11}/CLI" SYMBOLIC)
  add_library(CLI11::CLI11 INTERFACE IMPORTED)
  set_target_properties(CLI11::CLI11 PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${cli11}")
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
