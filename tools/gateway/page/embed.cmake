# Puts the page's files into the program: an assembler source includes their bytes and lists them.

enable_language(ASM)

# Debian's Chart.js, the only library of the page.
find_file(CHART_JS chart.min.js PATHS /usr/share/javascript/chart.js NO_DEFAULT_PATH
          NO_CMAKE_FIND_ROOT_PATH)
if(NOT CHART_JS)
  message(FATAL_ERROR "Chart.js not found: install Debian's package libjs-chart.js (cmake/deps.sh "
                      "does) or set CHART_JS to the path of chart.min.js")
endif()

file(GLOB page_sources CONFIGURE_DEPENDS
  "${CMAKE_CURRENT_LIST_DIR}/*.html" "${CMAKE_CURRENT_LIST_DIR}/*.js"
  "${CMAKE_CURRENT_LIST_DIR}/*.css" "${CMAKE_CURRENT_LIST_DIR}/*.svg")
list(SORT page_sources)

set(page_bytes "")
set(page_entries "")
set(page_number 0)
foreach(source IN LISTS page_sources CHART_JS)
  cmake_path(GET source FILENAME name)
  if(source STREQUAL CHART_JS)
    set(name chart.js)
  endif()
  string(APPEND page_bytes
    "name${page_number}: .asciz \"${name}\"\n"
    "begin${page_number}: .incbin \"${source}\"\n"
    "end${page_number}: .byte 0\n")
  string(APPEND page_entries
    "  .quad name${page_number}, begin${page_number}, end${page_number}\n")
  math(EXPR page_number "${page_number} + 1")
endforeach()

# The list holds addresses, which the loader may have to adjust.
file(CONFIGURE OUTPUT "${CMAKE_CURRENT_BINARY_DIR}/page_files.S" CONTENT [[
#ifdef _WIN32
  .section .rdata,"dr"
#else
  .section .rodata
#endif
@page_bytes@
#ifndef _WIN32
  .section .data.rel.ro,"aw"
#endif
  .balign 8
  .globl kGatewayPageEntries
kGatewayPageEntries:
@page_entries@  .quad 0, 0, 0
#ifdef __ELF__
  .section .note.GNU-stack,"",@progbits
#endif
]] @ONLY)
set_source_files_properties("${CMAKE_CURRENT_BINARY_DIR}/page_files.S" PROPERTIES
  OBJECT_DEPENDS "${page_sources};${CHART_JS}"
  # Debug information would name the build folder.
  COMPILE_OPTIONS -g0)
target_sources(gateway_core PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/page_files.S")
