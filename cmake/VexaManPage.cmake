# The man page, share/man/man1/vexa-datastore.1.gz in the build tree, written
# by VexaWriteManPage.cmake from the tool's own help whenever the tool or the
# hand-written sections of docs/man/vexa-datastore.h2m change. It needs
# help2man (scripts/install-deps.sh --tests); without it there is no page and
# the man page test says so.
set(VEXA_MAN_PAGE "${PROJECT_BINARY_DIR}/share/man/man1/vexa-datastore.1.gz")
if(NOT VEXA_BUILD_TOOL)
  return()
endif()
find_program(VEXA_HELP2MAN help2man)
if(NOT VEXA_HELP2MAN)
  message(STATUS "help2man not found: no man page")
  return()
endif()

set(sections "${PROJECT_SOURCE_DIR}/docs/man/vexa-datastore.h2m")
set(writer "${PROJECT_SOURCE_DIR}/cmake/VexaWriteManPage.cmake")
add_custom_command(OUTPUT "${VEXA_MAN_PAGE}"
  COMMAND "${CMAKE_COMMAND}" "-DTOOL=$<TARGET_FILE:vexa-datastore>" "-DHELP2MAN=${VEXA_HELP2MAN}"
          "-DSECTIONS=${sections}" "-DOUTPUT=${VEXA_MAN_PAGE}" -P "${writer}"
  DEPENDS vexa-datastore "${sections}" "${writer}"
  COMMENT "Writing the man page of vexa-datastore"
  VERBATIM)
add_custom_target(vexa_man_page ALL DEPENDS "${VEXA_MAN_PAGE}")
if(VEXA_INSTALL)
  install(FILES "${VEXA_MAN_PAGE}" DESTINATION share/man/man1 COMPONENT runtime)
endif()
