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

configure_file("${PROJECT_SOURCE_DIR}/cmake/vexa-datastore.pc.in"
  "${PROJECT_BINARY_DIR}/vexa-datastore.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/vexa-datastore.pc"
  DESTINATION "${VEXA_LIB_DIR}/pkgconfig" COMPONENT development)
