#include "Service.h"
#include "WindowsModel/ImportHooks.h"

#include <cstring>
#include <vector>

namespace {

const RPC_CLIENT_INTERFACE& ClientInterface()
{
    return *static_cast<const RPC_CLIENT_INTERFACE*>(Stub_VexaFP_v1_0_c_ifspec);
}

RPC_WSTR RpcText(const wchar_t* text)
{
    return reinterpret_cast<RPC_WSTR>(const_cast<wchar_t*>(text));
}

/// The client interface's dispatch table behind an endpoint of this program. The runtime hands its calls over
/// just as it hands over those that a server makes back on its client.
struct CallbackEndpoint {
    RPC_SERVER_INTERFACE server{sizeof(RPC_SERVER_INTERFACE),
                                ClientInterface().InterfaceId,
                                ClientInterface().TransferSyntax,
                                ClientInterface().DispatchTable,
                                0,
                                nullptr,
                                nullptr,
                                ClientInterface().InterpreterInfo,
                                0};
    handle_t binding = nullptr;

    CallbackEndpoint()
    {
        RPC_WSTR address = RpcText(L"ncalrpc:[VexaFPCallbackTest]");
        REQUIRE(RpcServerUseProtseqEpW(RpcText(L"ncalrpc"), RPC_C_PROTSEQ_MAX_REQS_DEFAULT,
                                       RpcText(L"VexaFPCallbackTest"), nullptr) == RPC_S_OK);
        REQUIRE(RpcServerRegisterIf(&server, nullptr, nullptr) == RPC_S_OK);
        REQUIRE(RpcServerListen(1, RPC_C_LISTEN_MAX_CALLS_DEFAULT, TRUE) == RPC_S_OK);
        REQUIRE(RpcBindingFromStringBindingW(address, &binding) == RPC_S_OK);
        for (int attempt = 0; attempt < 100 && RpcMgmtIsServerListening(binding) != RPC_S_OK; ++attempt)
            Sleep(20);
    }
    ~CallbackEndpoint()
    {
        RpcBindingFree(&binding);
        RpcServerUnregisterIf(&server, nullptr, FALSE);
        RpcMgmtStopServerListening(nullptr);
    }

    /// Sends marshalled arguments; the answer's bytes, or none when the runtime reports a failure.
    std::vector<byte> Call(unsigned procedure, const std::vector<byte>& arguments) const
    {
        RPC_MESSAGE message{};
        message.Handle = binding;
        message.DataRepresentation = 0x10; // little-endian, ASCII, IEEE
        message.BufferLength = static_cast<unsigned>(arguments.size());
        message.ProcNum = procedure;
        message.RpcInterfaceInformation = Stub_VexaFP_v1_0_c_ifspec;
        REQUIRE(I_RpcGetBuffer(&message) == RPC_S_OK);
        std::memcpy(message.Buffer, arguments.data(), arguments.size());
        if (I_RpcSendReceive(&message) != RPC_S_OK)
            return {};
        const byte* const bytes = static_cast<const byte*>(message.Buffer);
        std::vector<byte> answer(bytes, bytes + message.BufferLength);
        I_RpcFreeBuffer(&message);
        return answer;
    }
};

MIDL_STUB_DESC g_seenStub;
std::vector<byte> g_seenHeader;

CLIENT_CALL_RETURN __cdecl SeeCall(PMIDL_STUB_DESC stub, PFORMAT_STRING format, ...)
{
    g_seenStub = *stub;
    g_seenHeader.assign(format, format + 8);
    return {};
}

/// Calls a stub with nothing but zeros, for SeeCall.
template <class Result, class... Parameters>
void CheckOpnum(Result(__cdecl* stub)(Parameters...), byte opnum)
{
    CallStub(stub, Parameters{}...);
    // Implicit primitive handle, a flags word of 0, opnum.
    CHECK(g_seenHeader == std::vector<byte>{0x32, 0x48, 0, 0, 0, 0, opnum, 0});
}

/// Client and simulated service come from one definition: a changed order would escape them both.
template <class... Stubs>
void CheckOrder(Stubs... stubs)
{
    static_assert(sizeof...(stubs) == 32);
    byte opnum = 0;
    (CheckOpnum(stubs, opnum++), ...);
}

} // namespace

TEST_CASE("the service's callback reaches the client's routine and is answered with 0")
{
    const CallbackEndpoint endpoint;
    const std::vector<byte> zero(4);
    // Two longs, then a null pointer; then a pointer's mark and the char behind it.
    CHECK(endpoint.Call(0, {1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}) == zero);
    CHECK(endpoint.Call(0, {0, 0, 0, 0x80, 2, 0, 0, 0, 0, 0, 2, 0, 'c'}) == zero);
    // The arguments are really read, never past their end, and there is no second procedure.
    CHECK(endpoint.Call(0, {1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 2, 0}).empty());
    CHECK(endpoint.Call(1, {}).empty());
}

TEST_CASE("what the stubs tell the RPC runtime")
{
    const RPC_CLIENT_INTERFACE& client = ClientInterface();
    const RPC_SYNTAX_IDENTIFIER identity{
        {0x3c16ea64, 0xf870, 0x4b16, {0xb6, 0x4c, 0xed, 0x81, 0xbe, 0x35, 0xf7, 0xe4}}, {1, 0}};
    const RPC_SYNTAX_IDENTIFIER ndr{
        {0x8a885d04, 0x1ceb, 0x11c9, {0x9f, 0xe8, 0x08, 0x00, 0x2b, 0x10, 0x48, 0x60}}, {2, 0}};
    CHECK(std::memcmp(&client.InterfaceId, &identity, sizeof identity) == 0);
    CHECK(std::memcmp(&client.TransferSyntax, &ndr, sizeof ndr) == 0);
    CHECK(client.DispatchTable->DispatchTableCount == 1);

    BindFPService();
    WindowsModel::ImportHooks hooks(GetModuleHandleW(nullptr));
    REQUIRE(hooks.Replace("NdrClientCall2", SeeCall) == WindowsModel::ImportHooks::Result::Replaced);
    CheckOrder(Stub_Probe, Stub_Opnum1, Stub_ListEnroll, Stub_EnrollCapture, Stub_EnrollCommit,
               Stub_EnrollBegin, Stub_EnrollCount, Stub_ListUserFinger, Stub_IdentifyEnroll,
               Stub_IdleIdentifyEnroll, Stub_ModifyUserData, Stub_DeleteFinger, Stub_SetFAP,
               Stub_GetFPVersion, Stub_GetAuthUserCreds, Stub_IsAdminRegister, Stub_IsFAPSet,
               Stub_ResotreUserData, Stub_BackupUserData, Stub_GetUserData, Stub_DeleteUserData,
               Stub_DeleteFAPUserData, Stub_PbaEnable, Stub_IsPbaEnable, Stub_Opnum24, Stub_Opnum25,
               Stub_Opnum26, Stub_Opnum27, Stub_Opnum28, Stub_Opnum29, Stub_CaptureStop, Stub_Opnum31);
    CHECK(g_seenStub.RpcInterfaceInformation == &client);
    CHECK(g_seenStub.Version == 0x50002);
    CHECK(g_seenStub.fCheckBounds == 1);
    CHECK(g_seenStub.IMPLICIT_HANDLE_INFO.pPrimitiveHandle == &g_hFPBinding);
    UnbindFPService();
}
