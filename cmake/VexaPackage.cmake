# The Debian package: `cpack -G DEB` in the build tree makes
# vexa-datastore_<version>-1_<arch>.deb. It holds the runtime and development
# components installed under /usr, the man page and the bash completion
# (installed by `cmake --install` too), and what only the package has: the
# systemd units, their user and the maintainer scripts. VexaPackageLayout.cmake
# then moves the shipped configuration to /etc. docs/debian.md shows the result.
set(VEXA_PACKAGE_NAME vexa-datastore)
set(VEXA_PACKAGE_ETC_DIR "/etc/${VEXA_PACKAGE_NAME}")
set(VEXA_PACKAGE_SOURCE_DIR "${PROJECT_SOURCE_DIR}/etc/debian")

include(VexaManPage)
set(VEXA_BASH_COMPLETION "${PROJECT_SOURCE_DIR}/etc/bash-completion/vexa-datastore")
if(NOT VEXA_INSTALL)
  return()
endif()
if(VEXA_BUILD_TOOL)
  install(FILES "${VEXA_BASH_COMPLETION}"
    DESTINATION share/bash-completion/completions COMPONENT runtime)
endif()

# The units name /usr/bin/vexa-datastore, so they belong to the package alone.
# The drop-in directory vexa-datastore-.service.d applies to every service.
set(systemd_dir "${PROJECT_SOURCE_DIR}/etc/systemd")
file(GLOB units RELATIVE "${systemd_dir}" "${systemd_dir}/*.service" "${systemd_dir}/*.timer")
list(TRANSFORM units PREPEND "${systemd_dir}/" OUTPUT_VARIABLE unit_files)
install(FILES ${unit_files} DESTINATION lib/systemd/system COMPONENT debian EXCLUDE_FROM_ALL)
install(DIRECTORY "${systemd_dir}/vexa-datastore-.service.d"
  DESTINATION lib/systemd/system COMPONENT debian EXCLUDE_FROM_ALL)
install(FILES "${systemd_dir}/vexa-datastore.sysusers"
  DESTINATION lib/sysusers.d RENAME vexa-datastore.conf COMPONENT debian EXCLUDE_FROM_ALL)

# pkg-config looks in the multiarch directory, not in lib/quarn64/pkgconfig.
# The .pc file finds its prefix from its own directory and pkg-config does not
# follow links there, so the link must sit as deep below the prefix as the
# file itself.
set(VEXA_PACKAGE_PC_LINK_DIR "lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig")
file(RELATIVE_PATH pc_link_to_prefix "/${VEXA_PACKAGE_PC_LINK_DIR}" "/")
file(RELATIVE_PATH pc_file_to_prefix "/${VEXA_LIB_DIR}/pkgconfig" "/")
if(NOT CMAKE_LIBRARY_ARCHITECTURE OR NOT pc_link_to_prefix STREQUAL pc_file_to_prefix)
  message(STATUS "Debian package: no multiarch directory as deep as ${VEXA_LIB_DIR}, "
                 "so no package is configured")
  return()
endif()
file(RELATIVE_PATH VEXA_PACKAGE_PC_LINK_TARGET
  "/${VEXA_PACKAGE_PC_LINK_DIR}" "/${VEXA_LIB_DIR}/pkgconfig/vexa-datastore.pc")

# Maintainer scripts and the list of conffiles, with the names above filled in.
list(JOIN units " " VEXA_PACKAGE_UNITS)
set(control_dir "${PROJECT_BINARY_DIR}/debian-control")
file(GLOB shipped_configuration "${PROJECT_SOURCE_DIR}/${VEXA_ETC_DIR}/*.xml")
set(VEXA_PACKAGE_CONFFILES "")
foreach(file IN LISTS shipped_configuration)
  get_filename_component(name "${file}" NAME)
  string(APPEND VEXA_PACKAGE_CONFFILES "${VEXA_PACKAGE_ETC_DIR}/${name}\n")
endforeach()
file(WRITE "${control_dir}/conffiles" "${VEXA_PACKAGE_CONFFILES}")
set(control_files "${control_dir}/conffiles")
foreach(script postinst prerm postrm)
  configure_file("${VEXA_PACKAGE_SOURCE_DIR}/${script}.in" "${control_dir}/${script}"
    @ONLY FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
    GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  list(APPEND control_files "${control_dir}/${script}")
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME "${VEXA_PACKAGE_NAME}")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_CONTACT "vexa developers <vexa-developers@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DESCRIPTION
  "The library, its SQLite and ODBC plug-ins, the shipped configuration and
the vexa-datastore tool, which shows and fills the datastores of the vexa
cluster health checker, with its man page, bash completion and systemd units
for metrics and a status page (disabled). Headers, a CMake package and a
pkg-config file build programs against the library.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
set(CPACK_COMPONENTS_ALL runtime development debian)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
# Depends comes from the shared libraries the programs and plug-ins link.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "odbc-postgresql, postgresql, libxml2-dev, pkg-config")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${control_files}")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/VexaPackageLayout.cmake")
# Read by VexaPackageLayout.cmake, which runs inside cpack.
set(CPACK_VEXA_ETC_DIR "${VEXA_ETC_DIR}")
set(CPACK_VEXA_PACKAGE_ETC_DIR "${VEXA_PACKAGE_ETC_DIR}")
set(CPACK_VEXA_PC_LINK_DIR "${VEXA_PACKAGE_PC_LINK_DIR}")
set(CPACK_VEXA_PC_LINK_TARGET "${VEXA_PACKAGE_PC_LINK_TARGET}")
include(CPack)
