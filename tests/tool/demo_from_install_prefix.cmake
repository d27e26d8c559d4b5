# Run with -P by the tests tool_demo_from_install_prefix*: installs the
# project from BUILD_DIR into the scratch PREFIX and runs the demo there,
# without the developer's own VEXA_DATASTORE_CONFIG.
include("${CMAKE_CURRENT_LIST_DIR}/../../cmake/VexaScriptSupport.cmake")

file(REMOVE_RECURSE "${PREFIX}")
file(MAKE_DIRECTORY "${PREFIX}/home")
vexa_run_checked("cmake --install" "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${PREFIX}")
set(tool "${PREFIX}/bin/vexa-datastore")
set(home "${PREFIX}/home")
vexa_run_checked("vexa-datastore demo" "${CMAKE_COMMAND}" -E env --unset=VEXA_DATASTORE_CONFIG
                 "HOME=${home}" "${tool}" demo)
set(expected "stored 216 records in vexa_default (sqlite3 ${home}/.vexa/2021.4.0/vexa.db (read-write))")
string(FIND "${run_output}" "${expected}" at)
if(NOT at EQUAL 0 OR NOT EXISTS "${home}/.vexa/2021.4.0/vexa.db")
  message(FATAL_ERROR "the demo did not fill ${home}/.vexa/2021.4.0/vexa.db:\n${run_output}")
endif()
# The installed program uses the installed library and plug-in, not the
# build tree's.
vexa_run_checked("vexa-datastore datastores" "${CMAKE_COMMAND}" -E env
            --unset=VEXA_DATASTORE_CONFIG "HOME=${home}" "${tool}" --format csv datastores)
string(FIND "${run_output}" ",${PREFIX}/datastore/quarn64/libsqlite.so,true," at)
if(at EQUAL -1)
  message(FATAL_ERROR "the installed tool did not load the installed plug-in:\n${run_output}")
endif()
file(REMOVE_RECURSE "${PREFIX}")
