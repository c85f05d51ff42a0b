# delay_import(<target> <definition.def> <library.dll>): an interface library whose users bind the DLL's functions when
# they first call them, and load without the DLL.
find_program(DLLTOOL NAMES llvm-dlltool-19 REQUIRED)
function(delay_import target definition library)
    set(import ${CMAKE_CURRENT_BINARY_DIR}/lib${target}.a)
    add_custom_command(
        OUTPUT ${import}
        COMMAND ${DLLTOOL} -m i386:x86-64 -d ${CMAKE_CURRENT_SOURCE_DIR}/${definition} -l ${import}
        DEPENDS ${definition}
        VERBATIM)
    add_custom_target(${target}_import DEPENDS ${import})
    add_library(${target} INTERFACE)
    add_dependencies(${target} ${target}_import)
    target_include_directories(${target} INTERFACE ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(${target} INTERFACE ${import} delayimp)
    target_link_options(${target} INTERFACE -Wl,--delayload=${library})
endfunction()
