# Every failed check is one SEND_ERROR: the script goes on and fails at its end.
cmake_policy(VERSION 3.25)

# What a clean Windows 10 has. msvcrt.dll is the system's own C runtime.
set(allowed_libraries
    advapi32 cfgmgr32 crypt32 gdi32 gdiplus kernel32 msvcrt ole32 oleaut32 powrprof rpcrt4 secur32 setupapi
    shell32 shlwapi user32 wtsapi32)

function(run variable)
    execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE text RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${ARGN}: ${status}")
    endif()
    set(${variable} "${text}" PARENT_SCOPE)
endfunction()

# expect(<what> <found> <wanted>)
function(expect what found wanted)
    if(NOT "${found}" STREQUAL "${wanted}")
        message(SEND_ERROR "${what}: ${found}, expected ${wanted}")
    endif()
endfunction()

# first_match(<variable> <text> <regex>): the regex's one group, of the first match; empty without any.
function(first_match variable text regex)
    set(CMAKE_MATCH_1 "")
    string(REGEX MATCH "${regex}" ignored "${text}")
    set(${variable} "${CMAKE_MATCH_1}" PARENT_SCOPE)
endfunction()

# resource(<variable> <type> <id>): the resource's bytes in lower-case hexadecimal.
function(resource variable type id)
    set(digits "")
    string(FIND "${resources}" "\n  Type: ${type} [" at)
    if(NOT at EQUAL -1)
        string(SUBSTRING "${resources}" ${at} -1 rest)
        string(FIND "${rest}" "\n    Name: (ID ${id}) [" at)
        string(FIND "${rest}" "\n  ]" end)
        if(NOT at EQUAL -1 AND at LESS end)
            string(SUBSTRING "${rest}" ${at} -1 rest)
            string(FIND "${rest}" "\n    ]" end)
            string(SUBSTRING "${rest}" 0 ${end} rest)
            # Rows like "0010: 00000048 00000048  |...H...H|"; the text column may hold anything.
            string(REGEX MATCHALL "\n *[0-9A-F]+: [0-9A-F ]+ \\|" rows "${rest}")
            string(REGEX REPLACE "[0-9A-F]+: |[^0-9A-F]" "" digits "${rows}")
            string(TOLOWER "${digits}" digits)
        endif()
    endif()
    set(${variable} "${digits}" PARENT_SCOPE)
endfunction()

function(expect_starts what bytes beginning)
    string(LENGTH "${beginning}" length)
    string(SUBSTRING "${bytes}" 0 ${length} found)
    expect("${what}" "${found}" "${beginning}")
endfunction()

# Hexadecimal of a text in UTF-16, and of a 16-bit number, both little-endian.
function(utf16 variable text)
    string(HEX "${text}" digits)
    string(REGEX REPLACE "(..)" "\\100" digits "${digits}")
    set(${variable} "${digits}" PARENT_SCOPE)
endfunction()
function(word variable number)
    math(EXPR number "65536 + ${number}" OUTPUT_FORMAT HEXADECIMAL)
    string(TOLOWER "${number}" number)
    string(REGEX REPLACE "^0x1(..)(..)$" "\\2\\1" number "${number}")
    set(${variable} "${number}" PARENT_SCOPE)
endfunction()

run(headers ${READOBJ} --file-headers --coff-debug-directory ${DLL})
run(exports ${READOBJ} --coff-exports ${DLL})
run(imports ${READOBJ} --coff-imports ${DLL})
run(resources ${READOBJ} --coff-resources ${DLL})

# A 64-bit DLL with the hardening that every system DLL has.
foreach(fact
        "Machine: IMAGE_FILE_MACHINE_AMD64" IMAGE_FILE_DLL IMAGE_DLL_CHARACTERISTICS_DYNAMIC_BASE
        IMAGE_DLL_CHARACTERISTICS_HIGH_ENTROPY_VA IMAGE_DLL_CHARACTERISTICS_NX_COMPAT)
    string(FIND "${headers}" "${fact} (" at)
    if(at EQUAL -1)
        message(SEND_ERROR "no ${fact}")
    endif()
endforeach()
# Marked as relocatable is not enough: without relocations it stays where it is.
first_match(relocations "${headers}" "BaseRelocationTableSize: (0x[0-9A-F]+)")
if(NOT relocations GREATER 0)
    message(SEND_ERROR "no relocations")
endif()

string(REGEX MATCHALL " Name: [^\n]*" names "${exports}")
expect("exports" "${names}" " Name: DllCanUnloadNow; Name: DllGetClassObject")

string(REGEX MATCHALL "\nImport {\n  Name: [^\n]*" libraries "${imports}")
if(NOT libraries)
    message(SEND_ERROR "no imports found")
endif()
foreach(library IN LISTS libraries)
    string(REGEX REPLACE ".*Name: (.*)\\.[dD][lL][lL]$" "\\1" library "${library}")
    string(TOLOWER "${library}" library)
    if(NOT library IN_LIST allowed_libraries)
        message(SEND_ERROR "imports ${library}, which is not among the allowed system libraries")
    endif()
endforeach()

# The sensor vendor's library is not on every machine: bound when it is called, not when the DLL is loaded.
string(REGEX MATCHALL "DelayImport {\n  Name: [^\n]*" delayed "${imports}")
expect("delayed imports" "${delayed}" "DelayImport {\n  Name: vcsWavePba.dll")
string(FIND "${imports}" "DelayImport {" at)
string(SUBSTRING "${imports}" ${at} -1 delayed)
string(REGEX MATCHALL "Symbol: [A-Za-z]+" functions "${delayed}")
list(SORT functions)
expect("delayed functions" "${functions}"
    "Symbol: vcsWavPbaClose;Symbol: vcsWavPbaGetAuthUserCreds;Symbol: vcsWavPbaOpen")

# Tile: a bitmap header of 40 bytes, 266 x 266 pixels, 1 plane, 24 bits. Prompt images: PNG, RGBA of 8 bits.
set(png 89504e470d0a1a0a0000000d49484452)
resource(tile "BITMAP (ID 2)" 105)
expect_starts("tile" "${tile}" 280000000a0100000a0100000100180000000000)
string(LENGTH "${tile}" digits)
expect("hexadecimal digits of the tile" ${digits} 425680)
resource(prompt PNG 103)
expect_starts("prompt image" "${prompt}" ${png}00000048000000480806)
resource(prompt PNG 104)
expect_starts("second prompt image" "${prompt}" ${png})

# The version twice: as numbers behind the fixed block's signature and layout version, and as text.
string(REPLACE . ";" numbers ${VERSION}.0.0.0)
foreach(index RANGE 3)
    list(GET numbers ${index} number)
    word(word${index} ${number})
endforeach()
set(binary ${word1}${word0}${word3}${word2})
utf16(text "${VERSION}")
utf16(file_key FileVersion)
utf16(product_key ProductVersion)
resource(version "VERSIONINFO (ID 16)" 1)
foreach(part "bd04effe00000100${binary}${binary}" "${file_key}(0000)+${text}0000" "${product_key}(0000)+${text}0000")
    if(NOT version MATCHES "${part}")
        message(SEND_ERROR "version resource: no ${part} for ${VERSION} in ${version}")
    endif()
endforeach()

# The debugger takes the PDB of the same identity and age only.
run(summary ${PDBUTIL} dump --summary ${PDB})
first_match(dll_guid "${headers}" "PDBGUID: ({[^}\n]+})")
first_match(dll_age "${headers}" "PDBAge: ([0-9]+)")
first_match(pdb_guid "${summary}" "GUID: ({[^}\n]+})")
first_match(pdb_age "${summary}" "Age: ([0-9]+)")
if(dll_guid STREQUAL "")
    message(SEND_ERROR "the DLL names no PDB")
endif()
expect("identity and age of the PDB" "${pdb_guid} ${pdb_age}" "${dll_guid} ${dll_age}")
first_match(pdb_name "${headers}" "PDBFileName: ([^\n]*)")
get_filename_component(expected_name ${PDB} NAME)
expect("PDB" "${pdb_name}" "${expected_name}")

file(SIZE ${DLL} bytes)
if(bytes GREATER MOST_BYTES)
    message(SEND_ERROR "${bytes} bytes, more than ${MOST_BYTES}")
endif()

# Nothing in it tells where it was built.
file(READ ${DLL} content HEX)
foreach(folder IN LISTS FOLDERS)
    string(HEX "${folder}" narrow)
    utf16(wide "${folder}")
    foreach(digits ${narrow} ${wide})
        string(FIND "${content}" ${digits} at)
        if(NOT at EQUAL -1)
            message(SEND_ERROR "holds the path ${folder}")
        endif()
    endforeach()
endforeach()
