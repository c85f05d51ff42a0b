# cmake -DINPUT=<generated client stub> -DOUTPUT=<c> -P AttachCallback.cmake
# widl leaves the client interface's dispatch table and interpreter info null, so a server's callback would find
# nobody. This puts ours there, and fails should the stub compiler ever write something else than expected.
file(READ ${INPUT} stub)

set(before "({2,0}},
)    0,
(    1,
    \\(PRPC_PROTSEQ_ENDPOINT\\)VexaFP__RpcProtseqEndpoint,
    0,
)    0,
    0,
(};)")
string(REGEX REPLACE "${before}"
    "\\1    (PRPC_DISPATCH_TABLE)&g_FPCallbackDispatch,\n\\2    &g_FPCallbackServerInfo,\n    RPCFLG_HAS_CALLBACK,\n\\3" patched "${stub}")
if(patched STREQUAL stub)
    message(FATAL_ERROR "${INPUT}: no client interface of the expected form to attach the callback to")
endif()

set(declarations "extern const RPC_DISPATCH_TABLE g_FPCallbackDispatch;
extern const MIDL_SERVER_INFO g_FPCallbackServerInfo;
")
string(REPLACE "static const RPC_CLIENT_INTERFACE" "${declarations}static const RPC_CLIENT_INTERFACE" patched "${patched}")
file(WRITE ${OUTPUT} "${patched}")
