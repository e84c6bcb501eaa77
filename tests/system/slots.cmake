# Hosts in C, which know the table and the component record by position: see slots.h. Each runs
# against a local gateway, and what has arrived is compared with the file of its name.
function(tav_add_c_host_test name)
  add_executable(${name} ${name}.c slots.c)
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/include"
                                             "${PROJECT_SOURCE_DIR}/tests")
  target_link_libraries(${name} PRIVATE tav_warnings)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin/tests")
  if(WIN32)
    set(gateway "${TAV_GATEWAY_PROGRAM}")
    set(library "$<TARGET_FILE:tav>")
    add_dependencies(${name} tav)
  else()
    set(gateway "$<TARGET_FILE:gateway>")
    set(library "")
    target_link_libraries(${name} PRIVATE tav_core)
    if(TAV_SANITIZE)
      target_sources(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests/support/sanitizer_options.cpp")
    endif()
    add_dependencies(${name} gateway)
  endif()
  if(CMAKE_HOST_WIN32)
    return() # the local gateway is a POSIX program
  endif()
  set(support "${PROJECT_SOURCE_DIR}/tests/support")
  add_test(
    NAME ${TAV_TEST_KIND}.${name}
    COMMAND
      "${support}/with_gateway.sh" "${gateway}" -- "${support}/host_reports.sh"
      "${CMAKE_CURRENT_SOURCE_DIR}/${name}.events" -- ${CMAKE_CROSSCOMPILING_EMULATOR}
      "$<TARGET_FILE:${name}>")
  set_tests_properties(
    ${TAV_TEST_KIND}.${name} PROPERTIES TIMEOUT 120 LABELS "${TAV_TEST_KIND}"
                                        ENVIRONMENT "TAV_TEST_LIBRARY=${library}")
endfunction()

tav_add_c_host_test(component_words)
tav_add_c_host_test(every_slot)
if(TAV_SANITIZE MATCHES "undefined")
  target_compile_definitions(every_slot PRIVATE TAV_TYPES_ARE_CHECKED)
endif()

# The groups of slots, from the host's call to what the gateway tells.
tav_add_system_test(
  slot_groups_test
  SOURCES
  gateway_client.cpp
  host.cpp
  slot_events_test.cpp
  slot_fixture.cpp
  slot_settings_test.cpp
  LIBS
  tav_test_environment)
