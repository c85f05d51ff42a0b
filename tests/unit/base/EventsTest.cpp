#include "Events.h"

#include "Handle.h"
#include "LogFixture.h"

#include <aclapi.h>

namespace {

constexpr char ServiceEventName[] = "Global\\{D3368B8A-2EA4-49d7-A2B0-6F711BAD3DB9}";
const std::wstring Source = LR"( ..\..\base\common.cpp )";

TEST_CASE("the credential-service event is one auto-reset object that everyone may use")
{
    const CapturedLog log;
    const KernelHandle event(createCredetialSeviceEvent());
    wchar_t address[32];
    _snwprintf(address, std::size(address), L"0x%x",
               unsigned(reinterpret_cast<std::uintptr_t>(&createCredetialSeviceEvent)));
    const std::wstring label = Source + L"createCredetialSeviceEvent : ";
    CHECK(log.Lines() == std::vector{label + L"start", Source + L"GetSecurityEveryOne : start",
                                     label + L"credetialServiceEvent = " + address});

    const KernelHandle second(createCredetialSeviceEvent());
    const KernelHandle byName(OpenEventA(EVENT_ALL_ACCESS, FALSE, ServiceEventName));
    REQUIRE((event && second && byName));
    CHECK(WaitForSingleObject(event.Get(), 0) == WAIT_TIMEOUT);
    SetEvent(byName.Get());
    CHECK(WaitForSingleObject(second.Get(), 0) == WAIT_OBJECT_0);
    CHECK(WaitForSingleObject(event.Get(), 0) == WAIT_TIMEOUT);

    DWORD flags = 0;
    CHECK(GetHandleInformation(event.Get(), &flags));
    CHECK((flags & HANDLE_FLAG_INHERIT) != 0);
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    REQUIRE(GetSecurityInfo(event.Get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                            nullptr, nullptr, &descriptor) == ERROR_SUCCESS);
    BOOL present = FALSE;
    BOOL defaulted = TRUE;
    ACL unset;
    PACL dacl = &unset;
    CHECK(GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted));
    CHECK(present);
    CHECK(dacl == nullptr);
    LocalFree(descriptor);
}

DWORD WINAPI Wait(void*)
{
    waitCredetialSeviceEvent();
    return 0;
}

TEST_CASE("waiting for the credential-service event lasts until it is signalled and keeps no handle")
{
    const std::wstring label = Source + L"waitCredetialSeviceEvent : waitCredetialSeviceEvent ";
    CapturedLog log;
    waitCredetialSeviceEvent();
    CHECK(log.Lines() == std::vector{label + L"== 0x0"});

    KernelHandle event(createCredetialSeviceEvent());
    const KernelHandle thread(CreateThread(nullptr, 0, Wait, nullptr, 0, nullptr));
    CHECK(WaitForSingleObject(thread.Get(), 200) == WAIT_TIMEOUT);
    SetEvent(event.Get());
    REQUIRE(WaitForSingleObject(thread.Get(), 5000) == WAIT_OBJECT_0);
    CHECK(WaitForSingleObject(event.Get(), 0) == WAIT_TIMEOUT);
    const std::vector<std::wstring> lines = log.Lines();
    REQUIRE(lines.size() == 7);
    CHECK(lines[4].starts_with(label + L"== 0x"));
    CHECK(lines[4] != label + L"== 0x0");
    CHECK(lines[5] == label + L"enter");
    CHECK(lines[6] == label + L"leave");

    event.Reset();
    SetLastError(0xDEADBEEF);
    CHECK(OpenEventA(SYNCHRONIZE, FALSE, ServiceEventName) == nullptr);
    CHECK(GetLastError() == ERROR_FILE_NOT_FOUND);
}

} // namespace
