# Compiles interface definitions with widl at build time; nothing that it writes is checked in.
find_program(WIDL NAMES x86_64-w64-mingw32-widl widl REQUIRED)

# widl(<definition.idl> HEADER <h> [CLIENT <c>] [SERVER <c>])
# Client stubs are named Stub_<procedure>, the routines a server supplies Service_<procedure>.
function(widl definition)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "HEADER;CLIENT;SERVER" "")
    set(flags --win64 -Oicf --prefix-client=Stub_ --prefix-server=Service_)
    set(outputs ${arg_HEADER})
    set(options -h -H ${arg_HEADER})
    foreach(kind CLIENT SERVER)
        if(arg_${kind})
            string(SUBSTRING ${kind} 0 1 letter)
            string(TOLOWER ${letter} lower)
            list(APPEND options -${lower} -${letter} ${arg_${kind}})
            list(APPEND outputs ${arg_${kind}})
        endif()
    endforeach()
    add_custom_command(
        OUTPUT ${outputs}
        COMMAND ${WIDL} ${flags} ${options} ${CMAKE_CURRENT_SOURCE_DIR}/${definition}
        DEPENDS ${definition}
        COMMENT "Compiling interface definition ${definition}"
        VERBATIM)
endfunction()
