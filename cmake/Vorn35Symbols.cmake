# cpack runs this between installing the files and packing them. It writes the list of exported names, with the version
# that introduced each, to the control file `symbols` of the runtime package.
if(CPACK_GENERATOR STREQUAL "DEB")
    execute_process(COMMAND dpkg-gensymbols -q
        -p${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} -v${CPACK_PACKAGE_VERSION}
        -P${CPACK_TEMPORARY_DIRECTORY}/runtime -O${CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA}
        COMMAND_ERROR_IS_FATAL ANY)
endif()
