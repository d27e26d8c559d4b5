# vexa_add_plugin(<target> OUTPUT_NAME <name> SOURCES <files...> [LINK <libs...>])
#
# A datastore plug-in: a MODULE library in the build tree's (and the install
# prefix's) datastore/quarn64/, linked against the library, which finds the
# library through its RUNPATH in both trees.
function(vexa_add_plugin target)
  cmake_parse_arguments(ARG "" "OUTPUT_NAME" "SOURCES;LINK" ${ARGN})
  add_library(${target} MODULE ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE vexa::datastore vexa_compile_options ${ARG_LINK})
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME "${ARG_OUTPUT_NAME}"
    PREFIX "lib"
    LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/${VEXA_EXTENSION_DIR}"
    BUILD_WITH_INSTALL_RPATH ON
    INSTALL_RPATH "$ORIGIN/../../${VEXA_LIB_DIR}")
  if(VEXA_INSTALL)
    install(TARGETS ${target} LIBRARY DESTINATION "${VEXA_EXTENSION_DIR}" COMPONENT runtime)
  endif()
endfunction()
