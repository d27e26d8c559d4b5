# Installation reproduces the build tree's layout and adds the headers, a CMake
# package (VexaDatastore, target vexa::datastore) and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS vexa_datastore EXPORT VexaDatastoreTargets
  LIBRARY DESTINATION "${VEXA_LIB_DIR}" COMPONENT runtime
  INCLUDES DESTINATION include)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/"
  DESTINATION include COMPONENT development
  FILES_MATCHING PATTERN "*.h")

set(config_dir "${VEXA_LIB_DIR}/cmake/VexaDatastore")
install(EXPORT VexaDatastoreTargets
  NAMESPACE vexa::
  FILE VexaDatastoreTargets.cmake
  DESTINATION "${config_dir}" COMPONENT development)
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/VexaDatastoreConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/VexaDatastoreConfig.cmake"
  INSTALL_DESTINATION "${config_dir}")
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/VexaDatastoreConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/VexaDatastoreConfig.cmake"
  "${PROJECT_BINARY_DIR}/VexaDatastoreConfigVersion.cmake"
  DESTINATION "${config_dir}" COMPONENT development)

# find_package searches <prefix>/lib/cmake but not <prefix>/lib/quarn64/cmake:
# small forwarders there lead to the package files beside the library.
set(VEXA_PACKAGE_DIR "${config_dir}")
set(forward_dir "lib/cmake/VexaDatastore")
file(RELATIVE_PATH VEXA_FORWARD_TO "/${forward_dir}" "/${config_dir}")
foreach(VEXA_FORWARDED_FILE VexaDatastoreConfig.cmake VexaDatastoreConfigVersion.cmake)
  configure_file("${PROJECT_SOURCE_DIR}/cmake/VexaDatastoreForward.cmake.in"
    "${PROJECT_BINARY_DIR}/forward/${VEXA_FORWARDED_FILE}" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/forward/${VEXA_FORWARDED_FILE}"
    DESTINATION "${forward_dir}" COMPONENT development)
endforeach()

# The .pc file finds the prefix relative to its own directory.
file(RELATIVE_PATH VEXA_PC_TO_PREFIX "/${VEXA_LIB_DIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" VEXA_PC_TO_PREFIX "${VEXA_PC_TO_PREFIX}")
configure_file("${PROJECT_SOURCE_DIR}/cmake/vexa-datastore.pc.in"
  "${PROJECT_BINARY_DIR}/vexa-datastore.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/vexa-datastore.pc"
  DESTINATION "${VEXA_LIB_DIR}/pkgconfig" COMPONENT development)
