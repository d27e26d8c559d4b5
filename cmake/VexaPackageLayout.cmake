# Run by cpack (CPACK_PRE_BUILD_SCRIPTS) on the staged files of the Debian
# package, before they are packed. The library reads its configuration from
# <prefix>/etc/datastore; Debian keeps configuration under /etc. So the
# shipped files move to CPACK_VEXA_PACKAGE_ETC_DIR, where dpkg treats them as
# conffiles, and <prefix>/etc/datastore becomes a link to that directory.
# pkg-config finds the .pc file through a link in the multiarch directory.
file(GLOB_RECURSE staged_etc LIST_DIRECTORIES true
  "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*${CPACK_PACKAGING_INSTALL_PREFIX}/${CPACK_VEXA_ETC_DIR}")
list(FILTER staged_etc INCLUDE REGEX "/${CPACK_VEXA_ETC_DIR}$")
list(LENGTH staged_etc count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "expected one staged ${CPACK_VEXA_ETC_DIR}, found: ${staged_etc}")
endif()
string(REGEX REPLACE "${CPACK_PACKAGING_INSTALL_PREFIX}/${CPACK_VEXA_ETC_DIR}$" "" root "${staged_etc}")
set(prefix "${root}${CPACK_PACKAGING_INSTALL_PREFIX}")

get_filename_component(etc_parent "${root}${CPACK_VEXA_PACKAGE_ETC_DIR}" DIRECTORY)
file(MAKE_DIRECTORY "${etc_parent}")
file(RENAME "${staged_etc}" "${root}${CPACK_VEXA_PACKAGE_ETC_DIR}")
file(CREATE_LINK "${CPACK_VEXA_PACKAGE_ETC_DIR}" "${staged_etc}" SYMBOLIC)

file(MAKE_DIRECTORY "${prefix}/${CPACK_VEXA_PC_LINK_DIR}")
file(CREATE_LINK "${CPACK_VEXA_PC_LINK_TARGET}"
  "${prefix}/${CPACK_VEXA_PC_LINK_DIR}/vexa-datastore.pc" SYMBOLIC)
