# Debian packages, by `cpack -G DEB --config build/release/CPackConfig.cmake`:
#
#   libvorn35-0.1   the shared library; 0.1 is its SOVERSION, so incompatible versions can be installed together
#   libvorn35-dev   headers, the static library, and the files for CMake and pkg-config
#   libvorn35-protobuf-dev   the typed layer and its compiler plugin, if they are built
#   libvorn35-doc   the pages, the examples, and the reference if `./dev docs` has written it
#
# The demo belongs to no package.

set(debian ${PROJECT_SOURCE_DIR}/cmake/debian)
get_target_property(soversion vorn_shared SOVERSION)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vorn35)
set(CPACK_PACKAGE_CONTACT "The Vorn35 developers <vorn35@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
# Whatever the umask of the caller.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)  # name, version and architecture
set(CPACK_DEBIAN_PACKAGE_SOURCE vorn35)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvorn35-${soversion})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
"Processes publish typed endpoints and find those of others by name.
This package contains the shared library.")
# Dependencies come from the symbols that the library imports.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# The packages of programs derive their dependency on this one from its files shlibs and symbols. cpack writes the
# first, our script the second.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/Vorn35Symbols.cmake)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/symbols)

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libvorn35-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_DESCRIPTION
"This package contains the headers, the static library,
and the files for CMake and pkg-config.")
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libvorn35-${soversion} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS libvorn35-doc)

set(CPACK_DEBIAN_PROTOBUF_PACKAGE_NAME libvorn35-protobuf-dev)
set(CPACK_DEBIAN_PROTOBUF_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PROTOBUF_DESCRIPTION
"This package contains the typed layer over Protocol Buffers:
headers, a static library, and a plugin for protoc.")
set(CPACK_DEBIAN_PROTOBUF_PACKAGE_DEPENDS "libvorn35-dev (= ${PROJECT_VERSION}), libprotobuf-dev, protobuf-compiler")
set(CPACK_DEBIAN_PROTOBUF_PACKAGE_SHLIBDEPS ON)  # of the plugin

set(CPACK_DEBIAN_DOC_PACKAGE_NAME libvorn35-doc)
set(CPACK_DEBIAN_DOC_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOC_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOC_DESCRIPTION "This package contains the pages, the examples and the reference.")

# --- files that Debian requires ------------------------------------------------------------------------
configure_file(${debian}/changelog.in ${PROJECT_BINARY_DIR}/debian/changelog @ONLY)
find_program(GZIP gzip)
if(GZIP)
    # -n: no time stamp, so that equal sources give equal packages.
    execute_process(COMMAND ${GZIP} -9nf ${PROJECT_BINARY_DIR}/debian/changelog)
endif()
set(groups runtime dev doc)
if(TARGET vorn_protobuf)
    list(APPEND groups protobuf)
endif()
foreach(group IN LISTS groups)
    string(TOUPPER ${group} upper)
    set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    install(FILES ${debian}/copyright ${PROJECT_BINARY_DIR}/debian/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT debian_${group} EXCLUDE_FROM_ALL OPTIONAL)
    install(FILES ${debian}/${group}.lintian-overrides RENAME ${package}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT debian_${group} EXCLUDE_FROM_ALL)
endforeach()
set(doc_dir ${CMAKE_INSTALL_DATADIR}/doc/libvorn35-doc)
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md DESTINATION ${doc_dir}
    COMPONENT debian_doc EXCLUDE_FROM_ALL)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${doc_dir} COMPONENT debian_doc EXCLUDE_FROM_ALL
    FILES_MATCHING PATTERN "*.md" PATTERN "*.svg")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${doc_dir} COMPONENT debian_doc EXCLUDE_FROM_ALL)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/build/docs/html DESTINATION ${doc_dir} COMPONENT debian_doc EXCLUDE_FROM_ALL
    OPTIONAL)

set(CPACK_COMPONENTS_ALL runtime debian_runtime common static shared debian_dev debian_doc)
if(TARGET vorn_protobuf)
    list(APPEND CPACK_COMPONENTS_ALL protobuf debian_protobuf)
endif()
include(CPack)
cpack_add_component(runtime GROUP runtime)
cpack_add_component(debian_runtime GROUP runtime)
foreach(component common static shared debian_dev)
    cpack_add_component(${component} GROUP dev)
endforeach()
cpack_add_component(debian_doc GROUP doc)
cpack_add_component(protobuf GROUP protobuf)
cpack_add_component(debian_protobuf GROUP protobuf)
foreach(group IN LISTS groups)
    cpack_add_component_group(${group})
endforeach()
