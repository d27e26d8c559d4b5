# Registers the install check: `cmake --install` into a scratch prefix must
# give the installed layout, and a consumer project must find the package
# there with find_package (and with pkg-config), build and run against it.
if(NOT VEXA_INSTALL)
  return()
endif()

set(vexa_install_sanitize_flags "")
if(VEXA_SANITIZE)
  set(vexa_install_sanitize_flags "-fsanitize=address,undefined")
endif()
if(TARGET sqlite_extension)
  set(vexa_install_expect_sqlite ON)
else()
  set(vexa_install_expect_sqlite OFF)
endif()

add_test(NAME install_layout_and_consumer
  COMMAND "${CMAKE_COMMAND}"
    "-DBUILD_ROOT=${PROJECT_BINARY_DIR}"
    "-DSOURCE_ROOT=${PROJECT_SOURCE_DIR}"
    "-DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/install_check"
    "-DCXX_COMPILER=${CMAKE_CXX_COMPILER}"
    "-DBUILD_TYPE=${CMAKE_BUILD_TYPE}"
    "-DSANITIZE_FLAGS=${vexa_install_sanitize_flags}"
    "-DEXPECT_SQLITE_PLUGIN=${vexa_install_expect_sqlite}"
    -P "${CMAKE_CURRENT_LIST_DIR}/check_install.cmake")
set_tests_properties(install_layout_and_consumer PROPERTIES
  TIMEOUT 600
  ENVIRONMENT "${VEXA_TEST_ENVIRONMENT}")
