# vorn35_generate(TARGET target PROTOS file.proto... [IMPORT_DIRS directory...])
#
# Generates the messages and the typed services and clients of interface files, compiles them into the target, and links the
# typed layer. Of thermometer.proto the target's sources include "thermometer.vorn35.h". Names of files are relative to the
# first of IMPORT_DIRS that contains them, or else to the current source directory; there, imports are looked for too.
function(vorn35_generate)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" TARGET "PROTOS;IMPORT_DIRS")
    if(NOT TARGET "${arg_TARGET}" OR NOT arg_PROTOS OR arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "vorn35_generate(TARGET target PROTOS file.proto... [IMPORT_DIRS directory...])")
    endif()

    if(NOT TARGET protobuf::protoc)
        find_package(Protobuf REQUIRED)
    endif()
    set(options_dir "${VORN35_PROTO_DIR}")
    if(NOT options_dir)
        # include/ of the installation that this file belongs to
        get_target_property(options_dir Vorn35::vorn_protobuf INTERFACE_INCLUDE_DIRECTORIES)
    endif()
    set(out ${CMAKE_CURRENT_BINARY_DIR}/vorn35_generated/${arg_TARGET})
    file(MAKE_DIRECTORY ${out})
    set(roots "")
    set(imports -I ${options_dir})
    foreach(root IN LISTS arg_IMPORT_DIRS ITEMS ${CMAKE_CURRENT_SOURCE_DIR})
        cmake_path(ABSOLUTE_PATH root NORMALIZE)
        list(APPEND roots ${root})
        list(APPEND imports -I ${root})
    endforeach()

    foreach(proto IN LISTS arg_PROTOS)
        cmake_path(ABSOLUTE_PATH proto NORMALIZE)
        set(name "")
        foreach(root IN LISTS roots)
            cmake_path(IS_PREFIX root ${proto} NORMALIZE is_below)
            if(is_below AND NOT name)
                cmake_path(RELATIVE_PATH proto BASE_DIRECTORY ${root} OUTPUT_VARIABLE name)
            endif()
        endforeach()
        if(NOT name)
            message(FATAL_ERROR "vorn35_generate: ${proto} is not below ${roots}")
        endif()
        cmake_path(REMOVE_EXTENSION name LAST_ONLY OUTPUT_VARIABLE base)
        set(made ${out}/${base}.pb.cc ${out}/${base}.pb.h ${out}/${base}.vorn35.h)
        add_custom_command(OUTPUT ${made}
            COMMAND protobuf::protoc ${imports} --plugin=protoc-gen-vorn35=$<TARGET_FILE:Vorn35::protoc-gen-vorn35>
                --cpp_out=${out} --vorn35_out=cpp:${out} ${name}
            DEPENDS ${proto} Vorn35::protoc-gen-vorn35
            COMMENT "Generating ${base}.vorn35.h")
        set_source_files_properties(${out}/${base}.pb.cc PROPERTIES COMPILE_OPTIONS -w)  # not the target's code
        target_sources(${arg_TARGET} PRIVATE ${made})
    endforeach()
    target_include_directories(${arg_TARGET} SYSTEM PRIVATE ${out})  # as above
    target_link_libraries(${arg_TARGET} PRIVATE Vorn35::protobuf)
endfunction()
