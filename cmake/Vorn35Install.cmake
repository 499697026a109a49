# Installs the library, its public headers, the CMake package and the pkg-config file.

include(CMakePackageConfigHelpers)

set(vorn35_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Vorn35)

install(TARGETS vorn EXPORT Vorn35Targets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/export/Vorn35 DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.h")
install(EXPORT Vorn35Targets NAMESPACE Vorn35:: DESTINATION ${vorn35_package_dir})

configure_package_config_file(
    ${PROJECT_SOURCE_DIR}/cmake/Vorn35Config.cmake.in ${PROJECT_BINARY_DIR}/Vorn35Config.cmake
    INSTALL_DESTINATION ${vorn35_package_dir})
# Before 1.0 each minor version may break its users, as the SOVERSION says too.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/Vorn35ConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/Vorn35Config.cmake ${PROJECT_BINARY_DIR}/Vorn35ConfigVersion.cmake
    DESTINATION ${vorn35_package_dir})

# An absolute CMAKE_INSTALL_LIBDIR (some distributions use one) must not get the prefix put before it.
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_LIBDIR BASE_DIRECTORY "\${prefix}" OUTPUT_VARIABLE vorn35_pc_libdir)
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_INCLUDEDIR BASE_DIRECTORY "\${prefix}"
    OUTPUT_VARIABLE vorn35_pc_includedir)
# A static library cannot bring its own -pthread along, so there it stands in Libs.
if(BUILD_SHARED_LIBS)
    set(vorn35_pc_libs "")
else()
    set(vorn35_pc_libs " -pthread")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/vorn35.pc.in ${PROJECT_BINARY_DIR}/vorn35.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vorn35.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
