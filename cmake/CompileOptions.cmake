# Language level, warnings and code generation shared by everything in the tree.
set(CMAKE_C_STANDARD 17)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})

add_compile_definitions(
    UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN
    _WIN32_WINNT=0x0A00)
add_compile_options(
    -Wall -Wextra -Werror
    -fms-extensions
    # The SDK's declaration macros for COM methods promise nothrow, its definition macros don't repeat it.
    $<$<COMPILE_LANGUAGE:CXX>:-Wno-microsoft-exception-spec>
    # CodeView, so that the linker can write a PDB.
    -g -gcodeview
    -ffunction-sections -fdata-sections
    # Names of this machine's folders stay out of the symbols and of __FILE__.
    -fdebug-compilation-dir=.
    -gno-codeview-command-line
    -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=
    -ffile-prefix-map=${CMAKE_BINARY_DIR}/=build/
    $<$<COMPILE_LANGUAGE:C>:-std=c17>)
add_link_options(
    -Wl,--gc-sections
    -Wl,--dynamicbase -Wl,--high-entropy-va -Wl,--nxcompat
    # Two builds of one source give one DLL, and two sources hardly ever the same time stamp: it is a hash of the contents,
    # by which symbol stores and crash reports tell builds apart.
    -Wl,-Xlink=-Brepro)
