# What is installed, and where. Components: Runtime (the SDK's libraries), Development, Module, Player and Sandbox.

# Relative to the installation prefix and to the build folder.
set(PELK_MODULE_DIR "${CMAKE_INSTALL_LIBDIR}/pelk/modules")
# Path from the folder of the programs to that of the modules.
file(RELATIVE_PATH PELK_MODULES_BESIDE_PROGRAM
    "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}/pelk/modules")

set(PELK_INCLUDE_DIR "${CMAKE_INSTALL_INCLUDEDIR}/pelk")
set(PELK_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/PelkSdk")

# Headers that are not installed: only the libraries themselves include them.
set(PELK_PRIVATE_HEADERS
    "/(curlloop|exchange|httpclientheaders|redirectrules|responsecache|jsonobject|keytable|lenientjson)[.]h$")

# pelk_install_sdk_library(TARGET NAME): installs an SDK library and its headers; modules link it as Pelk::NAME.
function(pelk_install_sdk_library target name)
    set_target_properties(${target} PROPERTIES EXPORT_NAME ${name} VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR})
    # Assertions in headers are specified behaviour, also when modules include them.
    target_compile_definitions(${target} INTERFACE $<INSTALL_INTERFACE:QT_FORCE_ASSERTS>)
    install(TARGETS ${target} EXPORT PelkSdk
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT Development
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT Runtime NAMELINK_COMPONENT Development)
    file(RELATIVE_PATH folder "${CMAKE_SOURCE_DIR}/src" "${CMAKE_CURRENT_SOURCE_DIR}")
    foreach(tree "${CMAKE_SOURCE_DIR}/src" "${CMAKE_BINARY_DIR}/generated")
        install(DIRECTORY "${tree}/${folder}/" DESTINATION "${PELK_INCLUDE_DIR}/${folder}" COMPONENT Development
            FILES_MATCHING PATTERN "*.h" REGEX "${PELK_PRIVATE_HEADERS}" EXCLUDE)
    endforeach()
endfunction()

# Installs the packages for CMake and pkg-config. Call it after all libraries are defined.
function(pelk_install_sdk)
    include(CMakePackageConfigHelpers)
    install(EXPORT PelkSdk NAMESPACE Pelk:: DESTINATION "${PELK_CMAKE_DIR}" FILE PelkSdkTargets.cmake
        COMPONENT Development)
    configure_package_config_file("${CMAKE_SOURCE_DIR}/cmake/sdk/PelkSdkConfig.cmake.in"
        "${CMAKE_BINARY_DIR}/sdk/PelkSdkConfig.cmake" INSTALL_DESTINATION "${PELK_CMAKE_DIR}"
        PATH_VARS PELK_MODULE_DIR)
    write_basic_package_version_file("${CMAKE_BINARY_DIR}/sdk/PelkSdkConfigVersion.cmake"
        COMPATIBILITY SameMinorVersion)
    configure_file("${CMAKE_SOURCE_DIR}/cmake/sdk/pelk-sdk.pc.in" "${CMAKE_BINARY_DIR}/sdk/pelk-sdk.pc" @ONLY)
    install(FILES "${CMAKE_BINARY_DIR}/sdk/PelkSdkConfig.cmake" "${CMAKE_BINARY_DIR}/sdk/PelkSdkConfigVersion.cmake"
        "${CMAKE_SOURCE_DIR}/cmake/sdk/PelkSdkModule.cmake" "${CMAKE_SOURCE_DIR}/cmake/sdk/module.map"
        "${CMAKE_SOURCE_DIR}/cmake/sdk/abi.cpp.in"
        DESTINATION "${PELK_CMAKE_DIR}" COMPONENT Development)
    install(FILES "${CMAKE_BINARY_DIR}/sdk/pelk-sdk.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
        COMPONENT Development)
endfunction()
