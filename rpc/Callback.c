/* The client's side of the callback: the routine, and the tables through which the client interface reaches
 * it. */
#include "VexaFPCallback_server.c"

LONG Service_Callback(LONG first, LONG second, unsigned char* third)
{
    (void)first;
    (void)second;
    (void)third;
    return 0;
}

/* The generated tables are this file's own; these are what the client interface refers to. */
const RPC_DISPATCH_TABLE g_FPCallbackDispatch = {1, VexaFPCallback_table, 0};
const MIDL_SERVER_INFO g_FPCallbackServerInfo = {
    &VexaFPCallback_StubDesc,
    VexaFPCallback_ServerRoutineTable,
    __MIDL_ProcFormatString.Format,
    VexaFPCallback_FormatStringOffsetTable,
    0,
    0,
    0,
    0,
};
