# One Debian package with everything: `cpack -G DEB --config build/release/CPackConfig.cmake`.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libvorn35)
set(CPACK_PACKAGE_CONTACT "Vorn35 <vorn35@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)  # name, version and architecture
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
# From the symbols that the shared library uses.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Tells other packages what to depend on, and dpkg to have the linker's cache renewed.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

include(CPack)
