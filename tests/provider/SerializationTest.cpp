#include "LogonSerialization.h"

#include "Module.h"
#include "VexaFPCredential.h"
#include "unit/base/LogFixture.h"
#include "unit/base/Simulation.h"

#include <objbase.h>
#include <shlwapi.h>

#include <cstring>
#include <cwchar>
#include <set>
#include <string>
#include <vector>

namespace {

using WindowsModel::Protect;
using WindowsModel::ProtectAnswer;
using Bytes = std::vector<BYTE>;

constexpr HRESULT Overflow = HRESULT(0x80070216);
constexpr BYTE Unwritten = 0xCC;

wchar_t Domain[] = L"D\x4E2D";
wchar_t User[] = L"usr";

/// The COM task allocator as this module sees it: fills new blocks with Unwritten, keeps account of them, and
/// runs out when it is told to.
struct TaskMemory : Simulation {
    explicit TaskMemory(Group groups, int allocations = -1) : Simulation(groups)
    {
        blocks.clear();
        unwiped = 0;
        left = allocations;
        Replace("CoTaskMemAlloc", Allocate);
        Replace(
            "CoTaskMemFree", +[](void* block) {
                CHECK((block == nullptr || blocks.erase(block) == 1));
                unwiped += block != nullptr && *static_cast<const wchar_t*>(block) != 0;
                HeapFree(GetProcessHeap(), 0, block);
            });
        Replace(
            "SHStrDupW", +[](PCWSTR text, PWSTR* copy) -> HRESULT {
                *copy = static_cast<PWSTR>(Allocate((std::wcslen(text) + 1) * sizeof(WCHAR)));
                return *copy != nullptr ? (std::wcscpy(*copy, text), S_OK) : E_OUTOFMEMORY;
            });
    }
    static void* WINAPI Allocate(SIZE_T size)
    {
        if (left-- == 0)
            return nullptr;
        void* block = std::memset(HeapAlloc(GetProcessHeap(), 0, size), Unwritten, size);
        blocks.insert(block);
        return block;
    }
    static inline std::set<void*> blocks;
    static inline int left;
    static inline int unwiped; ///< blocks freed with a text in them
};

/// The block for an account: message type, three texts by length, room and offset, logon id, then the texts.
Bytes Packed(DWORD messageType, const std::wstring& password)
{
    constexpr DWORD gap = Unwritten * 0x01010101U;
    const DWORD bytes = DWORD(2 * password.size());
    const DWORD fixed[] = {messageType,         gap, 0x40004, gap, 64, 0, 0x60006, gap, 68, 0,
                           bytes << 16 | bytes, gap, 74,      0,   0,  0};
    const std::wstring texts = Domain + (User + password);
    Bytes packed(sizeof fixed + 2 * texts.size());
    std::memcpy(packed.data(), fixed, sizeof fixed);
    std::memcpy(packed.data() + sizeof fixed, texts.data(), 2 * texts.size());
    return packed;
}

TEST_CASE("the packed logon, byte by byte")
{
    const std::wstring made = Protect(L"p");
    const std::wstring own = Protect(L"p", true);
    REQUIRE(made != L"p");
    // clang-format off
    struct Row {
        CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario; DWORD messageType; std::wstring password, packed; size_t protects;
    };
    const Row rows[] = {
        {CPUS_LOGON,              2, L"p",  made, 2},
        {CPUS_UNLOCK_WORKSTATION, 7, L"p",  made, 2},
        {CPUS_CREDUI,             0, L"p",  L"p", 0},
        {CPUS_LOGON,              2, made,  made, 0},
        {CPUS_UNLOCK_WORKSTATION, 7, own,   own,  0},
        {CPUS_CREDUI,             0, made,  made, 0},
        {CPUS_LOGON,              2, L"",   L"",  0},
        {CPUS_UNLOCK_WORKSTATION, 7, L"",   L"",  0},
        {CPUS_CREDUI,             0, L"",   L"",  0},
    };
    // clang-format on
    for (const Row& row : rows) {
        CAPTURE(&row - rows);
        TaskMemory simulation(Group::Credentials);
        BYTE* block = nullptr;
        DWORD size = 0;
        REQUIRE(PackLogon(Domain, User, row.password.c_str(), row.scenario, &block, &size) == S_OK);
        CHECK(Bytes(block, block + size) == Packed(row.messageType, row.packed));
        CHECK(simulation.blocks.size() == 1);
        CHECK(simulation.unwiped == 0); // copies of the password
        CoTaskMemFree(block);
        CHECK(simulation->credentials.protects.size() == row.protects);
        for (const WindowsModel::ProtectCall& call : simulation.windows.Snapshot().credentials.protects)
            CHECK((!call.asSelf && call.characters == 2));
    }
}

TEST_CASE("the first thing wrong with an account is told, and nothing handed out")
{
    std::wstring texts[] = {std::wstring(32767, L'x'), std::wstring(32768, L'x'), std::wstring(65537, L'x')};
    wchar_t* const big = texts[1].data();
    // clang-format off
    struct Row { PWSTR domain, user, password; CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario; HRESULT result; };
    const Row rows[] = {
        {nullptr, big,     big,             CPUS_CHANGE_PASSWORD, E_INVALIDARG},
        {big,     nullptr, nullptr,         CPUS_CHANGE_PASSWORD, Overflow},
        {Domain,  nullptr, big,             CPUS_CHANGE_PASSWORD, E_INVALIDARG},
        {Domain,  big,     nullptr,         CPUS_CHANGE_PASSWORD, Overflow},
        {Domain,  User,    nullptr,         CPUS_CHANGE_PASSWORD, E_INVALIDARG},
        {Domain,  User,    texts[2].data(), CPUS_LOGON,           Overflow},
        {Domain,  User,    User,            CPUS_INVALID,         E_FAIL},
        {Domain,  User,    User,            CPUS_CHANGE_PASSWORD, E_FAIL},
    };
    // clang-format on
    for (const Row& row : rows) {
        CAPTURE(&row - rows);
        KERB_INTERACTIVE_UNLOCK_LOGON logon;
        std::memset(&logon, Unwritten, sizeof logon);
        CHECK(KerbInteractiveUnlockLogonInit(row.domain, row.user, row.password, row.scenario, &logon) ==
              row.result);
        const auto* bytes = reinterpret_cast<const BYTE*>(&logon);
        CHECK(Bytes(bytes, bytes + sizeof logon) == Bytes(sizeof logon, Unwritten));
    }
    UNICODE_STRING longest{};
    REQUIRE(UnicodeStringInitWithString(texts[0].data(), &longest) == S_OK);
    CHECK((longest.Length == 65534 && longest.MaximumLength == 65534 && longest.Buffer == texts[0].data()));
}

TEST_CASE("a protection that fails, and one that has nothing to show")
{
    // clang-format off
    struct Row { std::deque<ProtectAnswer> answers; HRESULT result; };
    const Row rows[] = {
        {{{ProtectAnswer::Fail, ERROR_INSUFFICIENT_BUFFER, 0}},              HRESULT(0x8007007A)},
        {{{ProtectAnswer::Fail, ERROR_ACCESS_DENIED, 40}},                   E_ACCESSDENIED},
        {{{ProtectAnswer::Usual}, {ProtectAnswer::Fail, ERROR_INVALID_DATA}}, HRESULT(0x8007000D)},
        {{{ProtectAnswer::Succeed}},                                         S_OK},
    };
    // clang-format on
    TaskMemory simulation(Group::Credentials);
    PWSTR text = nullptr;
    for (const Row& row : rows) {
        CAPTURE(&row - rows);
        simulation->credentials.protectAnswers = row.answers;
        simulation->credentials.protects.clear();
        text = User;
        CHECK(ProtectIfNecessaryAndCopyPassword(L"p", CPUS_LOGON, &text) == row.result);
        CHECK(text == nullptr);
        CHECK(simulation.blocks.empty());
        CHECK(simulation->credentials.protects.size() == row.answers.size());
    }
    simulation->credentials.protectAnswers = {{ProtectAnswer::Succeed}};
    BYTE* block = nullptr;
    DWORD size = 0;
    REQUIRE(PackLogon(Domain, User, L"p", CPUS_LOGON, &block, &size) == S_OK);
    CHECK(Bytes(block, block + size) == Packed(2, L""));
    CoTaskMemFree(block);

    // Whether it is protected already cannot be told: then it is not.
    simulation.FailNext("CredIsProtectedW", ERROR_INVALID_PARAMETER);
    REQUIRE(ProtectIfNecessaryAndCopyPassword(Protect(L"p").c_str(), CPUS_LOGON, &text) == S_OK);
    CHECK(text == Protect(Protect(L"p")));
    CoTaskMemFree(text);
    REQUIRE(ProtectIfNecessaryAndCopyPassword(nullptr, CPUS_LOGON, &text) == S_OK);
    CHECK(text == std::wstring());
    CoTaskMemFree(text);
    CHECK(simulation.blocks.empty());
}

TEST_CASE("what GetSerialization hands out when a step fails, and what it gives back")
{
    constexpr wchar_t fits[] = L"FIFTEEN-LETTERS";
    constexpr wchar_t too[] = L"SIXTEEN-LETTERS-";
    // clang-format off
    struct Row {
        const wchar_t* computer; const char* fails; DWORD code; CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario; int memory;
        HRESULT result; bool packed; size_t lookups;
    };
    const Row rows[] = {
        {fits, nullptr,                          0,                     CPUS_LOGON,           -1, S_OK,                true,  1},
        {too,  nullptr,                          0,                     CPUS_LOGON,           -1, HRESULT(0x8007006F), false, 0},
        {fits, "CredProtectW",                   ERROR_ACCESS_DENIED,   CPUS_LOGON,           -1, E_ACCESSDENIED,      false, 0},
        {fits, nullptr,                          0,                     CPUS_CHANGE_PASSWORD, -1, E_FAIL,              false, 0},
        {fits, nullptr,                          0,                     CPUS_LOGON,           0,  E_OUTOFMEMORY,       false, 0},
        {fits, nullptr,                          0,                     CPUS_LOGON,           1,  E_OUTOFMEMORY,       false, 0},
        {fits, nullptr,                          0,                     CPUS_LOGON,           2,  E_OUTOFMEMORY,       false, 0},
        {fits, nullptr,                          0,                     CPUS_LOGON,           3,  E_OUTOFMEMORY,       false, 0},
        {fits, "LsaConnectUntrusted",            0xC0000022,            CPUS_LOGON,           -1, HRESULT(0xD0000022), true,  0},
        {fits, "LsaLookupAuthenticationPackage", 0xC00000FE,            CPUS_LOGON,           -1, HRESULT(0xD00000FE), true,  0},
    };
    // clang-format on
    for (const Row& row : rows) {
        CAPTURE(&row - rows);
        TaskMemory simulation(Group::Accounts | Group::Credentials | Group::Lsa);
        auto* credential = new CVexaFPCredential;
        REQUIRE(credential->Initialize(row.scenario, g_FieldDescriptors, g_FieldStatePairs, L"x") == S_OK);
        credential->SetAccount(Domain, User, L"p");
        const size_t before = simulation.blocks.size();
        simulation.left = row.memory;
        simulation->accounts.computerName = row.computer;
        if (row.fails != nullptr)
            simulation.FailNext(row.fails, row.code);

        const CapturedLog log;
        auto response = CPGSR_NO_CREDENTIAL_NOT_FINISHED;
        auto icon = CPSI_WARNING;
        PWSTR status = User;
        CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION logon{77, IID_IUnknown, 77, nullptr};
        CHECK(credential->GetSerialization(&response, &logon, &status, &icon) == row.result);

        const bool succeeded = row.result == S_OK;
        if (row.packed)
            CHECK(Bytes(logon.rgbSerialization, logon.rgbSerialization + logon.cbSerialization) ==
                  Packed(2, Protect(L"p")));
        CHECK((logon.rgbSerialization != nullptr) == row.packed);
        CHECK((logon.cbSerialization != 77) == row.packed);
        CHECK(simulation.blocks.size() == before + row.packed);
        CoTaskMemFree(logon.rgbSerialization);
        CHECK(response == (succeeded ? CPGSR_RETURN_CREDENTIAL_FINISHED : CPGSR_NO_CREDENTIAL_NOT_FINISHED));
        CHECK(logon.clsidCredentialProvider == (succeeded ? CLSID_VexaFPCredentialProvider : IID_IUnknown));
        CHECK((icon == CPSI_WARNING && status == User));
        const std::wstring label = L" VexaFPCredential.cpp CVexaFPCredential::GetSerialization : ";
        CHECK(log.Lines() == (succeeded    ? std::vector{label + L"CPGSR_RETURN_CREDENTIAL_FINISHED"}
                              : row.packed ? std::vector{label + L"RetrieveNegotiateAuthPackage Fail"}
                                           : std::vector<std::wstring>{}));

        const WindowsModel::LsaState lsa = simulation.windows.Snapshot().lsa;
        CHECK(logon.ulAuthenticationPackage == (succeeded ? ULONG(lsa.PackageNumber("Negotiate")) : 77));
        CHECK(simulation->ledger.Clean());
        CHECK(lsa.lookups.size() == row.lookups);
        for (const WindowsModel::PackageLookup& lookup : lsa.lookups)
            CHECK((lookup.name == "Negotiate" && lookup.length == 9 && lookup.maximumLength == 10));
        CHECK(credential->Release() == 0);
    }
}

} // namespace
