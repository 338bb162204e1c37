# pelk_add_module(NAME SOURCE...): adds the module libNAME.so. It exports only its entry point, worker_create, and the version of
# the SDK that it was built for. `cmake --install` installs it into the player's module folder.
function(pelk_add_module name)
    set(abi "${CMAKE_CURRENT_BINARY_DIR}/${name}_abi.cpp")
    configure_file("${CMAKE_CURRENT_FUNCTION_LIST_DIR}/abi.cpp.in" "${abi}" @ONLY)
    add_library(${name} MODULE ${ARGN} "${abi}")
    target_compile_features(${name} PRIVATE cxx_std_17)
    target_link_libraries(${name} PRIVATE Pelk::Api)
    set_source_files_properties("${abi}" PROPERTIES SKIP_AUTOMOC ON)
    set_target_properties(${name} PROPERTIES PREFIX lib AUTOMOC ON CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON LINK_DEPENDS "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/module.map")
    target_link_options(${name} PRIVATE
        "-Wl,--no-undefined,--version-script=${CMAKE_CURRENT_FUNCTION_LIST_DIR}/module.map")
    install(TARGETS ${name} LIBRARY DESTINATION "${PELK_MODULE_DIR}")
endfunction()
