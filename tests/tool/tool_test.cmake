# The tests of vexa-datastore run the built program as a user would.
#
# Included by tests/CMakeLists.txt, this file tells tool_test where the
# program is and registers tool_demo_from_install_prefix; run with -P (by that
# test) it installs the project into a scratch prefix and runs the demo there.
if(CMAKE_SCRIPT_MODE_FILE)
  function(run_checked description)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT status EQUAL 0)
      message(FATAL_ERROR "${description} failed (${status}):\n${out}${err}")
    endif()
    set(out "${out}" PARENT_SCOPE)
  endfunction()

  file(REMOVE_RECURSE "${PREFIX}")
  file(MAKE_DIRECTORY "${PREFIX}/home")
  run_checked("cmake --install" "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${PREFIX}")
  set(tool "${PREFIX}/bin/vexa-datastore")
  set(home "${PREFIX}/home")
  run_checked("vexa-datastore demo" "${CMAKE_COMMAND}" -E env "HOME=${home}" "${tool}" demo)
  set(expected "stored 216 records in vexa_default (sqlite3 ${home}/.vexa/2021.4.0/vexa.db (read-write))")
  string(FIND "${out}" "${expected}" at)
  if(NOT at EQUAL 0 OR NOT EXISTS "${home}/.vexa/2021.4.0/vexa.db")
    message(FATAL_ERROR "the demo did not fill ${home}/.vexa/2021.4.0/vexa.db:\n${out}")
  endif()
  # The installed program uses the installed library and plug-in, not the
  # build tree's.
  run_checked("vexa-datastore datastores" "${CMAKE_COMMAND}" -E env "HOME=${home}"
              "${tool}" --format csv datastores)
  string(FIND "${out}" ",${PREFIX}/datastore/quarn64/libsqlite.so,true," at)
  if(at EQUAL -1)
    message(FATAL_ERROR "the installed tool did not load the installed plug-in:\n${out}")
  endif()
  file(REMOVE_RECURSE "${PREFIX}")
  return()
endif()

if(TARGET vexa-datastore AND TARGET tool_test)
  find_package(nlohmann_json REQUIRED)
  target_compile_definitions(tool_test PRIVATE VEXA_TOOL="$<TARGET_FILE:vexa-datastore>")
  target_link_libraries(tool_test PRIVATE nlohmann_json::nlohmann_json)
  add_dependencies(tool_test vexa-datastore)
  if(VEXA_INSTALL)
    add_test(NAME tool_demo_from_install_prefix
      COMMAND "${CMAKE_COMMAND}" -DBUILD_DIR=${PROJECT_BINARY_DIR}
              -DPREFIX=${CMAKE_CURRENT_BINARY_DIR}/tool-install-prefix
              -P "${CMAKE_CURRENT_LIST_FILE}")
    set_tests_properties(tool_demo_from_install_prefix PROPERTIES
      ENVIRONMENT "${VEXA_TEST_ENVIRONMENT}")
  endif()
endif()
