# vexa-datastore config check run on configurations sound and broken, and the
# ELF reader it looks at plug-in files with, on cut-short and made-up bytes.
if(TARGET vexa-datastore AND TARGET sqlite_extension AND TARGET no_destroy_plugin)
  add_test(NAME tool_config_check
    COMMAND bash "${CMAKE_CURRENT_LIST_DIR}/config_check.sh" "$<TARGET_FILE:vexa-datastore>"
            "${PROJECT_BINARY_DIR}" "$<TARGET_FILE:no_destroy_plugin>")
  set_tests_properties(tool_config_check PROPERTIES ENVIRONMENT "${VEXA_TEST_ENVIRONMENT}")

  set(tool_source "${PROJECT_SOURCE_DIR}/src/tools/vexa-datastore")
  add_executable(elf_exports_test "${CMAKE_CURRENT_LIST_DIR}/elf_exports_test.cpp"
                 "${tool_source}/support/elf_exports.cpp")
  target_include_directories(elf_exports_test PRIVATE "${tool_source}")
  target_link_libraries(elf_exports_test PRIVATE GTest::gtest_main vexa_compile_options)
  target_compile_definitions(elf_exports_test PRIVATE
    VEXA_SQLITE_PLUGIN="$<TARGET_FILE:sqlite_extension>"
    VEXA_PLUGIN_NO_DESTROY_PLUGIN="$<TARGET_FILE:no_destroy_plugin>")
  add_dependencies(elf_exports_test sqlite_extension no_destroy_plugin)
  set_target_properties(elf_exports_test PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}")
  gtest_discover_tests(elf_exports_test DISCOVERY_TIMEOUT 60)
endif()
