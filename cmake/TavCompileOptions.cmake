# Compiler settings. Those for every translation unit, googletest's included, are set for the whole
# tree; the interface target tav_warnings has those for this project's code only.

add_library(tav_warnings INTERFACE)

if(MSVC)
  # /utf-8: the sources are UTF-8. /Gy /Gw: let the linker remove unreferenced code and data.
  add_compile_options(/utf-8 /permissive- /Zc:__cplusplus /Gy /Gw)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "MSVC")
    add_compile_options(/Zc:preprocessor) # clang-cl always has the standard's preprocessor
  endif()
  add_compile_definitions(_CRT_SECURE_NO_WARNINGS NOMINMAX)
  target_compile_options(tav_warnings INTERFACE /W4)
  if(TAV_WERROR)
    target_compile_options(tav_warnings INTERFACE /WX)
  endif()
  return()
endif()

set(CMAKE_C_FLAGS_RELEASE "-O2 -DNDEBUG")
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")

add_compile_options(-ffunction-sections -fdata-sections)
# The product contains no path of the build machine, so that two checkouts give the same bytes. Other
# builds keep the paths for debuggers.
set(tav_prefix_map "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=."
                   "-ffile-prefix-map=${PROJECT_BINARY_DIR}=build")
add_compile_options("$<$<CONFIG:Release>:${tav_prefix_map}>")
# For the DLL's objects and its link: the input of link-time optimisation keeps the names of headers, and
# the folder of zlib and jansson may be outside this tree.
set(tav_deps_map)
if(TAV_DEPS_PREFIX)
  get_filename_component(deps "${TAV_DEPS_PREFIX}" REALPATH)
  set(tav_deps_map "-ffile-prefix-map=${deps}=./build/deps/mingw")
endif()
add_link_options(-Wl,--gc-sections)
if(MINGW)
  # Without a time stamp builds are reproducible.
  add_link_options(-Wl,--no-insert-timestamp)
endif()

# No code asks for the type of an object. The types of exceptions stay known.
if(MINGW AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options("$<$<AND:$<CONFIG:Release>,$<COMPILE_LANGUAGE:CXX>>:-fno-rtti>")
endif()

target_compile_options(tav_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  # MSVC rejects extensions of GCC.
  target_compile_options(tav_warnings INTERFACE -Wgnu -Wno-gnu-zero-variadic-macro-arguments)
endif()
if(TAV_WERROR)
  target_compile_options(tav_warnings INTERFACE -Werror)
endif()

if(TAV_SANITIZE STREQUAL "trap")
  # MinGW has no sanitizer run-time: undefined behaviour ends the program with an illegal
  # instruction, without a report.
  add_compile_options(-fsanitize=undefined -fsanitize-undefined-trap-on-error
                      -fstack-protector-strong)
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
  # Without this option the link of a C program omits the run-time of the stack checks.
  add_link_options(-fstack-protector-strong)
elseif(TAV_SANITIZE)
  add_compile_options(-fsanitize=${TAV_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
  add_link_options(-fsanitize=${TAV_SANITIZE})
endif()
