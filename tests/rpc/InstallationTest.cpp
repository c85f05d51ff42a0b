// `FingerprintService --install` and `--uninstall`, alone and beside another program's service.
#include "base/Handle.h"
#include "base/Registry.h"
#include "FitMachine/Fitness.h"

#include <doctest/doctest.h>
#include <process.h>

namespace {

constexpr wchar_t Another[] = LR"("C:\Another\Service.exe" --service VexaFPService)";
constexpr wchar_t Moved[] = LR"("C:\Another\FingerprintService.exe" --service VexaFPService)";

intptr_t Run(const wchar_t* mode)
{
    const auto program = FitMachine::BuildFolder() / L"FingerprintService.exe";
    return _wspawnl(_P_WAIT, program.c_str(), L"FingerprintService.exe", mode, nullptr);
}

/// Empty when there is no such service.
std::wstring CommandOf(const std::wstring& name)
{
    return RegReadString((LR"(SYSTEM\CurrentControlSet\Services\)" + name).c_str(), L"ImagePath");
}

} // namespace

TEST_CASE("the services of another program are left alone, a moved copy's are taken over")
{
    REQUIRE(Run(L"--install") == 0);
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    ServiceHandle service(OpenServiceW(manager.Get(), L"VexaFPService", SERVICE_CHANGE_CONFIG));
    const auto give = [&](const wchar_t* command) {
        REQUIRE(ChangeServiceConfigW(service.Get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                                     command, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    };
    give(Another);
    CHECK(Run(L"--uninstall") == 1);
    CHECK(Run(L"--install") == 1);
    CHECK(CommandOf(L"vcsFPService").empty());
    CHECK((CommandOf(L"VexaFPService") == Another));

    give(Moved);
    service.Reset();
    CHECK(Run(L"--install") == 0);
    CHECK_FALSE(CommandOf(L"vcsFPService").empty());
    const std::wstring own = CommandOf(L"VexaFPService");
    CHECK(own.ends_with(LR"(\FingerprintService.exe" --service VexaFPService)"));
    CHECK((own != Moved));
    CHECK(Run(L"--uninstall") == 0);
    CHECK((CommandOf(L"VexaFPService") + CommandOf(L"vcsFPService")).empty());
}
