// `FingerprintService --install` and `--uninstall`, alone and beside another program's service.
#include "base/Handle.h"

#include <doctest/doctest.h>
#include <process.h>

#include <filesystem>
#include <string>

namespace {

constexpr wchar_t Name[] = L"VexaFPService";
constexpr wchar_t Another[] = LR"("C:\Another\Service.exe" --service VexaFPService)";
constexpr wchar_t Moved[] = LR"("C:\Another\FingerprintService.exe" --service VexaFPService)";

intptr_t Run(const wchar_t* mode)
{
    // Beside this program.
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const auto program = std::filesystem::path(path).replace_filename(L"FingerprintService.exe");
    return _wspawnl(_P_WAIT, program.c_str(), L"FingerprintService.exe", mode, nullptr);
}

struct Manager {
    ServiceHandle handle{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)};

    ServiceHandle Open(const wchar_t* name = Name) const
    {
        return ServiceHandle(OpenServiceW(handle.Get(), name, SERVICE_ALL_ACCESS));
    }
    void Create(const wchar_t* command) const
    {
        REQUIRE(ServiceHandle(CreateServiceW(
            handle.Get(), Name, Name, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START,
            SERVICE_ERROR_IGNORE, command, nullptr, nullptr, nullptr, nullptr, nullptr)));
    }
    std::wstring Command() const
    {
        alignas(QUERY_SERVICE_CONFIGW) BYTE buffer[2048];
        auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer);
        DWORD bytes = 0;
        REQUIRE(QueryServiceConfigW(Open().Get(), config, sizeof buffer, &bytes));
        return config->lpBinaryPathName;
    }
};

} // namespace

TEST_CASE("the services of another program are left alone, a moved copy's are taken over")
{
    const Manager manager;
    REQUIRE(Run(L"--uninstall") == 0);
    manager.Create(Another);
    CHECK(Run(L"--install") == 1);
    CHECK_FALSE(manager.Open(L"vcsFPService"));
    CHECK(Run(L"--uninstall") == 1);
    CHECK((manager.Command() == Another));
    REQUIRE(DeleteService(manager.Open().Get()));

    manager.Create(Moved);
    CHECK(Run(L"--install") == 0);
    CHECK(manager.Open(L"vcsFPService"));
    CHECK(manager.Command().ends_with(LR"(\FingerprintService.exe" --service VexaFPService)"));
    CHECK((manager.Command() != Moved));
    CHECK(Run(L"--uninstall") == 0);
    CHECK_FALSE(manager.Open());
    CHECK_FALSE(manager.Open(L"vcsFPService"));
}
