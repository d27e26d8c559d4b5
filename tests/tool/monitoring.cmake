# The monitoring commands of vexa-datastore (report, metrics, check) are
# tested through the built program, promtool and a headless Chromium, driven
# by the helpers in tests/monitoring/.
if(TARGET vexa-datastore AND TARGET tool_monitoring_test)
  find_package(nlohmann_json REQUIRED)
  set(monitoring_dir "${CMAKE_CURRENT_LIST_DIR}/../monitoring")
  target_sources(tool_monitoring_test PRIVATE
    "${monitoring_dir}/headless_browser.cpp" "${monitoring_dir}/program.cpp")
  target_include_directories(tool_monitoring_test PRIVATE "${monitoring_dir}")
  target_compile_definitions(tool_monitoring_test PRIVATE VEXA_TOOL="$<TARGET_FILE:vexa-datastore>")
  target_link_libraries(tool_monitoring_test PRIVATE nlohmann_json::nlohmann_json)
  add_dependencies(tool_monitoring_test vexa-datastore)
endif()
