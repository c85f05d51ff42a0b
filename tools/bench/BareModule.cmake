# cmake -DREADOBJ=<llvm-readobj> -DDLL=<dll> -DOUTPUT=<c> -P BareModule.cmake
# Writes the source of a DLL with the imports of another one.
execute_process(COMMAND ${READOBJ} --coff-imports ${DLL} OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "Symbol: [A-Za-z_0-9]+" symbols "${text}")
list(REMOVE_DUPLICATES symbols)
set(declarations "")
set(table "")
foreach(symbol IN LISTS symbols)
    string(REPLACE "Symbol: " "__imp_" symbol "${symbol}")
    string(APPEND declarations "extern const void* ${symbol};\n")
    string(APPEND table "    &${symbol},\n")
endforeach()
if(NOT table)
    message(FATAL_ERROR "${DLL}: no imports found")
endif()
# Volatile, so that what is never looked at stays in.
file(WRITE ${OUTPUT} "${declarations}
static const void* const volatile g_imports[] = {
${table}};

__declspec(dllexport) long DllGetClassObject(const void* classId, const void* interfaceId, void** object)
{
    (void)classId;
    (void)interfaceId;
    *object = 0;
    return g_imports[0] != 0 ? (long)0x80040111 : 0;
}
")
