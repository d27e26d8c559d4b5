# cmake -DBUILD_ROOT=... -DSOURCE_ROOT=... -DWORK_DIR=... -DCXX_COMPILER=...
#       -DBUILD_TYPE=... -DSANITIZE_FLAGS=... -DEXPECT_SQLITE_PLUGIN=ON|OFF
#       -P check_install.cmake
#
# Installs the build tree into WORK_DIR/prefix, checks the layout, then
# builds and runs tests/install/consumer against the prefix twice: through
# find_package(VexaDatastore) and through pkg-config.
cmake_minimum_required(VERSION 3.25)

include("${CMAKE_CURRENT_LIST_DIR}/../../cmake/VexaScriptSupport.cmake")
vexa_require_defines(check_install.cmake BUILD_ROOT SOURCE_ROOT WORK_DIR CXX_COMPILER)

set(prefix "${WORK_DIR}/prefix")
set(consumer_source "${SOURCE_ROOT}/tests/install/consumer")
file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")

# The consumer prints "INSTALL_ROOT=<root>" and fails unless the root
# resolves to the prefix; check the printed text too.
function(check_consumer_output description output)
  file(REAL_PATH "${prefix}" real_prefix)
  if(NOT output MATCHES "INSTALL_ROOT=([^\n]*)\n")
    message(FATAL_ERROR "${description}: no INSTALL_ROOT line in:\n${output}")
  endif()
  set(root "${CMAKE_MATCH_1}")
  if(NOT root STREQUAL "${real_prefix}/lib/quarn64/../../")
    message(FATAL_ERROR "${description}: INSTALL_ROOT is '${root}', expected '${real_prefix}/lib/quarn64/../../'")
  endif()
  message(STATUS "${description}: INSTALL_ROOT=${root}")
endfunction()

vexa_run_checked("cmake --install" "${CMAKE_COMMAND}" --install "${BUILD_ROOT}" --prefix "${prefix}")

set(expected_files
  lib/quarn64/libvexa_datastore.so
  include/datastore/datastore.h
  etc/datastore/default_sqlite.xml
  etc/datastore/datastores.xml
  lib/quarn64/cmake/VexaDatastore/VexaDatastoreConfig.cmake
  lib/quarn64/cmake/VexaDatastore/VexaDatastoreConfigVersion.cmake
  lib/quarn64/cmake/VexaDatastore/VexaDatastoreTargets.cmake
  lib/cmake/VexaDatastore/VexaDatastoreConfig.cmake
  lib/cmake/VexaDatastore/VexaDatastoreConfigVersion.cmake
  lib/quarn64/pkgconfig/vexa-datastore.pc)
if(EXPECT_SQLITE_PLUGIN)
  list(APPEND expected_files datastore/quarn64/libsqlite.so)
endif()
# Every public header is installed under the same name.
file(GLOB_RECURSE public_headers RELATIVE "${SOURCE_ROOT}/include" "${SOURCE_ROOT}/include/*.h")
foreach(header IN LISTS public_headers)
  list(APPEND expected_files "include/${header}")
endforeach()
foreach(file IN LISTS expected_files)
  if(NOT EXISTS "${prefix}/${file}")
    message(FATAL_ERROR "missing from the installation: ${file}")
  endif()
endforeach()
if(IS_SYMLINK "${prefix}/lib/quarn64/libvexa_datastore.so")
  message(FATAL_ERROR "lib/quarn64/libvexa_datastore.so is a symbolic link, not the library file")
endif()
list(LENGTH expected_files file_count)
message(STATUS "installation layout: ${file_count} files present")

# A consumer found through find_package(VexaDatastore) in the prefix.
set(consumer_build "${WORK_DIR}/consumer-build")
vexa_run_checked("configuring the consumer"
  "${CMAKE_COMMAND}" -S "${consumer_source}" -B "${consumer_build}"
  "-DCMAKE_PREFIX_PATH=${prefix}"
  "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
  "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}"
  "-DCMAKE_CXX_FLAGS=${SANITIZE_FLAGS}"
  "-DCMAKE_EXE_LINKER_FLAGS=${SANITIZE_FLAGS}"
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF)
vexa_run_checked("building the consumer" "${CMAKE_COMMAND}" --build "${consumer_build}")
vexa_run_checked("running the consumer" "${consumer_build}/consumer" "${prefix}")
check_consumer_output("find_package consumer" "${run_output}")

# The package files beside the library also work when named directly.
vexa_run_checked("configuring the consumer with VexaDatastore_DIR"
  "${CMAKE_COMMAND}" -S "${consumer_source}" -B "${WORK_DIR}/consumer-direct"
  "-DVexaDatastore_DIR=${prefix}/lib/quarn64/cmake/VexaDatastore"
  "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF)

# The same program built with the flags pkg-config gives.
find_program(PKG_CONFIG_EXECUTABLE NAMES pkg-config pkgconf REQUIRED)
set(ENV{PKG_CONFIG_PATH} "${prefix}/lib/quarn64/pkgconfig")
vexa_run_checked("pkg-config" "${PKG_CONFIG_EXECUTABLE}" --cflags --libs vexa-datastore)
string(STRIP "${run_output}" pkg_flags)
separate_arguments(pkg_flags UNIX_COMMAND "${pkg_flags}")
separate_arguments(sanitize_flags UNIX_COMMAND "${SANITIZE_FLAGS}")
set(pc_consumer "${WORK_DIR}/consumer-pkg-config")
vexa_run_checked("building the consumer with pkg-config flags"
  "${CXX_COMPILER}" -std=c++17 ${sanitize_flags} "${consumer_source}/main.cpp" -o "${pc_consumer}" ${pkg_flags})
vexa_run_checked("running the pkg-config consumer" "${pc_consumer}" "${prefix}")
check_consumer_output("pkg-config consumer" "${run_output}")
