#include "Service.h"

#include <cstring>

namespace {

RPC_WSTR RpcText(const wchar_t* text)
{
    return reinterpret_cast<RPC_WSTR>(const_cast<wchar_t*>(text));
}

/// Sends marshalled arguments; the answer's bytes, or none when the runtime reports a failure.
std::vector<byte> Call(handle_t binding, const std::vector<byte>& arguments)
{
    RPC_MESSAGE message{};
    message.Handle = binding;
    message.DataRepresentation = 0x10; // little-endian, ASCII, IEEE
    message.BufferLength = static_cast<unsigned>(arguments.size());
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

} // namespace

// The client interface's dispatch table behind an endpoint of this program. The runtime hands its calls over
// just as it hands over those that a server makes back on its client.
TEST_CASE("the service's callback reaches the client's routine and is answered with 0")
{
    const auto& client = *static_cast<const RPC_CLIENT_INTERFACE*>(Stub_VexaFP_v1_0_c_ifspec);
    // Outlives the endpoint: a thread of the runtime looks at it after it has sent an answer.
    static RPC_SERVER_INTERFACE server{sizeof server,
                                       client.InterfaceId,
                                       client.TransferSyntax,
                                       client.DispatchTable,
                                       0,
                                       nullptr,
                                       nullptr,
                                       client.InterpreterInfo,
                                       0};
    handle_t binding = nullptr;
    REQUIRE(RpcServerUseProtseqEpW(RpcText(L"ncalrpc"), RPC_C_PROTSEQ_MAX_REQS_DEFAULT,
                                   RpcText(L"VexaFPCallbackTest"), nullptr) == RPC_S_OK);
    REQUIRE(RpcServerRegisterIfEx(&server, nullptr, nullptr, RPC_IF_AUTOLISTEN,
                                  RPC_C_LISTEN_MAX_CALLS_DEFAULT, nullptr) == RPC_S_OK);
    REQUIRE(RpcBindingFromStringBindingW(RpcText(L"ncalrpc:[VexaFPCallbackTest]"), &binding) == RPC_S_OK);

    const std::vector<byte> zero(4);
    // Two longs, then a null pointer; then a pointer's mark and the char behind it.
    CHECK(Call(binding, {1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}) == zero);
    CHECK(Call(binding, {0, 0, 0, 0x80, 2, 0, 0, 0, 0, 0, 2, 0, 'c'}) == zero);
    // The arguments are really read, never past their end.
    CHECK(Call(binding, {1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 2, 0}).empty());

    RpcBindingFree(&binding);
    RpcServerUnregisterIf(&server, nullptr, FALSE);
}
