# Installs the library, its public headers, the CMake package and the pkg-config file.

include(CMakePackageConfigHelpers)

set(vorn35_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Vorn35)

# Components: `common` is what both kinds of library need, `static` and `shared` are what a compiler needs of each
# kind, and `runtime` is the shared library itself.
foreach(library IN LISTS vorn35_libraries)
    if(library STREQUAL vorn_shared)
        set(component shared)
        set(targets Vorn35SharedTargets)
    else()
        set(component static)
        set(targets Vorn35StaticTargets)
    endif()
    install(TARGETS ${library} EXPORT ${targets}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT ${component})
    install(EXPORT ${targets} NAMESPACE Vorn35:: DESTINATION ${vorn35_package_dir} COMPONENT ${component})
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/export/Vorn35 DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT common FILES_MATCHING PATTERN "*.h" PATTERN protobuf EXCLUDE)
install(FILES ${vorn35_generated_dir}/Vorn35/version.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Vorn35
    COMPONENT common)

configure_package_config_file(
    ${PROJECT_SOURCE_DIR}/cmake/Vorn35Config.cmake.in ${PROJECT_BINARY_DIR}/Vorn35Config.cmake
    INSTALL_DESTINATION ${vorn35_package_dir})
# Before 1.0 each minor version may be incompatible, as the SOVERSION says too.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/Vorn35ConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/Vorn35Config.cmake ${PROJECT_BINARY_DIR}/Vorn35ConfigVersion.cmake
    DESTINATION ${vorn35_package_dir} COMPONENT common)

# The prefix is relative to the pkg-config file, so that an installation can be moved and `cmake --install --prefix`
# works. Absolute directories, as some distributions set them, stay absolute.
set(vorn35_pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
    set(vorn35_pc_prefix ${CMAKE_INSTALL_PREFIX})
else()
    cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
        BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${vorn35_pc_dir} OUTPUT_VARIABLE vorn35_pc_prefix)
    cmake_path(APPEND vorn35_pc_up "\${pcfiledir}" "${vorn35_pc_prefix}")
    set(vorn35_pc_prefix ${vorn35_pc_up})
endif()
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_LIBDIR BASE_DIRECTORY "\${prefix}" OUTPUT_VARIABLE vorn35_pc_libdir)
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_INCLUDEDIR BASE_DIRECTORY "\${prefix}"
    OUTPUT_VARIABLE vorn35_pc_includedir)
configure_file(${PROJECT_SOURCE_DIR}/cmake/vorn35.pc.in ${PROJECT_BINARY_DIR}/vorn35.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vorn35.pc DESTINATION ${vorn35_pc_dir} COMPONENT common)
