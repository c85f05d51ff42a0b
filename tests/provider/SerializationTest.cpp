#include "LogonSerialization.h"

#include "Fields.h"
#include "Module.h"
#include "VexaFPCredential.h"
#include "WindowsModel/PackedLogon.h"
#include "unit/base/LogFixture.h"
#include "unit/base/Simulation.h"

#include <objbase.h>

#include <string>
#include <vector>

namespace {

using WindowsModel::Protect;

constexpr HRESULT Overflow = HRESULT(0x80070216);

wchar_t Domain[] = L"D\x4E2D";
wchar_t User[] = L"usr";

struct LogonSimulation : Simulation {
    LogonSimulation() : Simulation(Group::Accounts | Group::Credentials | Group::Lsa | Group::Failures) {}

    /// Allocations of the COM task allocator, failed ones included, that were not freed.
    long Blocks()
    {
        const WindowsModel::RecorderState calls = windows.Snapshot().recorder;
        return long(calls.Count("SHStrDupW") + calls.Count("CoTaskMemAlloc") - calls.Count("CoTaskMemFree"));
    }
};

void CheckPacked(const BYTE* block, DWORD size, CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario,
                 const std::wstring& password)
{
    const auto logon = WindowsModel::DecodePackedLogon(block, size, scenario);
    CHECK(logon.violations == std::vector<std::string>{});
    CHECK(logon.domain == Domain);
    CHECK(logon.user == User);
    CHECK(logon.password == password);
}

TEST_CASE("a logon is packed with its password protected, for Windows' own scenarios and once only")
{
    const std::wstring made = Protect(L"p");
    const std::wstring own = Protect(L"p", true);
    struct Row {
        CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario;
        std::wstring password, packed;
        size_t protects;
    };
    const Row rows[] = {
        {CPUS_LOGON, L"p", made, 2}, {CPUS_UNLOCK_WORKSTATION, L"p", made, 2}, {CPUS_CREDUI, L"p", L"p", 0},
        {CPUS_LOGON, made, made, 0}, {CPUS_UNLOCK_WORKSTATION, own, own, 0},   {CPUS_CREDUI, made, made, 0},
        {CPUS_LOGON, L"", L"", 0},
    };
    for (const Row& row : rows) {
        CAPTURE(&row - rows);
        LogonSimulation simulation;
        BYTE* block = nullptr;
        DWORD size = 0;
        REQUIRE(PackLogon(Domain, User, row.password.c_str(), row.scenario, &block, &size) == S_OK);
        CHECK(simulation.Blocks() == 1);
        CheckPacked(block, size, row.scenario, row.packed);
        CoTaskMemFree(block);
        CHECK(simulation->credentials.protects.size() == row.protects);
        for (const WindowsModel::ProtectCall& call : simulation.windows.Snapshot().credentials.protects)
            CHECK((!call.asSelf && call.characters == 2));
    }
}

TEST_CASE("what is wrong with an account is told")
{
    std::wstring texts[] = {std::wstring(32767, L'x'), std::wstring(32768, L'x'), std::wstring(65537, L'x')};
    struct Row {
        PWSTR domain, user, password;
        CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario;
        HRESULT result;
    };
    const Row rows[] = {
        {texts[0].data(), texts[0].data(), texts[0].data(), CPUS_LOGON, S_OK},
        {nullptr, User, User, CPUS_LOGON, E_INVALIDARG},
        {Domain, nullptr, User, CPUS_LOGON, E_INVALIDARG},
        {Domain, User, nullptr, CPUS_LOGON, E_INVALIDARG},
        {texts[1].data(), User, User, CPUS_LOGON, Overflow},
        {Domain, User, texts[2].data(), CPUS_LOGON, Overflow},
        {Domain, User, User, CPUS_CHANGE_PASSWORD, E_FAIL},
    };
    for (const Row& row : rows) {
        CAPTURE(&row - rows);
        KERB_INTERACTIVE_UNLOCK_LOGON logon;
        CHECK(KerbInteractiveUnlockLogonInit(row.domain, row.user, row.password, row.scenario, &logon) ==
              row.result);
    }
}

TEST_CASE("a protection that has nothing to show, and a password that may be protected already")
{
    LogonSimulation simulation;
    BYTE* block = nullptr;
    DWORD size = 0;
    simulation->credentials.protectAnswers = {{WindowsModel::ProtectAnswer::Succeed}};
    REQUIRE(PackLogon(Domain, User, L"p", CPUS_LOGON, &block, &size) == S_OK);
    CheckPacked(block, size, CPUS_LOGON, L"");
    CoTaskMemFree(block);

    // It cannot be told: then it is not.
    simulation.FailNext("CredIsProtectedW", ERROR_INVALID_PARAMETER);
    REQUIRE(PackLogon(Domain, User, Protect(L"p").c_str(), CPUS_LOGON, &block, &size) == S_OK);
    CheckPacked(block, size, CPUS_LOGON, Protect(Protect(L"p")));
    CoTaskMemFree(block);
    CHECK(simulation.Blocks() == 0);
}

TEST_CASE("what GetSerialization hands out when a step fails, and what it gives back")
{
    struct Row {
        const char* fails;
        DWORD code;
        unsigned skip;
        HRESULT result;
        bool packed;
    };
    const Row rows[] = {
        {nullptr, 0, 0, S_OK, true},
        {"GetComputerNameW", ERROR_BUFFER_OVERFLOW, 0, HRESULT(0x8007006F), false},
        {"CredProtectW", ERROR_ACCESS_DENIED, 0, E_ACCESSDENIED, false},
        {"CredProtectW", ERROR_INSUFFICIENT_BUFFER, 0, HRESULT(0x8007007A), false}, // of no size
        {"CredProtectW", ERROR_INVALID_DATA, 1, HRESULT(0x8007000D), false},
        {"SHStrDupW", DWORD(E_OUTOFMEMORY), 0, E_OUTOFMEMORY, false},
        {"SHStrDupW", DWORD(E_OUTOFMEMORY), 1, E_OUTOFMEMORY, false},
        {"CoTaskMemAlloc", 0, 0, E_OUTOFMEMORY, false},
        {"CoTaskMemAlloc", 0, 1, E_OUTOFMEMORY, false},
        {"LsaConnectUntrusted", 0xC0000022, 0, HRESULT(0xD0000022), true},
        {"LsaLookupAuthenticationPackage", 0xC00000FE, 0, HRESULT(0xD00000FE), true},
    };
    for (const Row& row : rows) {
        CAPTURE(&row - rows);
        LogonSimulation simulation;
        simulation->accounts.computerName = L"FIFTEEN-LETTERS";
        auto* credential = new CVexaFPCredential;
        REQUIRE(credential->Initialize(CPUS_LOGON, g_FieldDescriptors, g_FieldStatePairs, L"x") == S_OK);
        credential->SetAccount(Domain, User, L"p");
        const long before = simulation.Blocks();
        if (row.fails != nullptr)
            simulation.FailNext(row.fails, row.code, 1, row.skip);

        const CapturedLog log;
        auto response = CPGSR_NO_CREDENTIAL_NOT_FINISHED;
        auto icon = CPSI_WARNING;
        PWSTR text = User;
        CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION logon{77, IID_IUnknown, 77, nullptr};
        CHECK(credential->GetSerialization(&response, &logon, &text, &icon) == row.result);
        CHECK((icon == CPSI_WARNING && text == User));
        // The allocation that failed is one of the blocks.
        CHECK(simulation.Blocks() == before + row.packed + (row.result == E_OUTOFMEMORY));
        CHECK((logon.rgbSerialization != nullptr) == row.packed);
        CHECK((logon.cbSerialization != 77) == row.packed);
        CHECK(log.Lines().size() == size_t(row.packed));
        if (row.packed) {
            CHECK(log.Lines()[0].ends_with(row.result == S_OK ? L" : CPGSR_RETURN_CREDENTIAL_FINISHED"
                                                              : L" : RetrieveNegotiateAuthPackage Fail"));
            CheckPacked(logon.rgbSerialization, logon.cbSerialization, CPUS_LOGON, Protect(L"p"));
            CoTaskMemFree(logon.rgbSerialization);
        }
        if (row.result == S_OK) {
            const WindowsModel::PackageLookup lookup = simulation->lsa.lookups.at(0);
            CHECK((lookup.length == 9 && lookup.maximumLength == 10));
            CHECK(response == CPGSR_RETURN_CREDENTIAL_FINISHED);
            CHECK(logon.clsidCredentialProvider == CLSID_VexaFPCredentialProvider);
            CHECK(logon.ulAuthenticationPackage == ULONG(simulation->lsa.PackageNumber("Negotiate")));
        } else {
            CHECK(response == CPGSR_NO_CREDENTIAL_NOT_FINISHED);
            CHECK((logon.clsidCredentialProvider == IID_IUnknown && logon.ulAuthenticationPackage == 77));
        }
        CHECK(simulation->ledger.Clean());
        CHECK(credential->Release() == 0);
    }
}

TEST_CASE("a field whose label can't be copied leaves nothing behind")
{
    LogonSimulation simulation;
    simulation.FailNext("SHStrDupW", DWORD(E_OUTOFMEMORY));
    CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR* copy = nullptr;
    CHECK(FieldDescriptorCoAllocCopy(g_FieldDescriptors[FIELD_USERNAME], &copy) == E_OUTOFMEMORY);
    CHECK(copy == nullptr);
    CHECK(simulation.Blocks() == 1); // the one that failed
}

} // namespace
