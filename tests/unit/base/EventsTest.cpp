#include "Events.h"

#include "Handle.h"
#include "LogFixture.h"

#include <aclapi.h>

const std::wstring Source = LR"( ..\..\base\common.cpp )";

TEST_CASE("the credential-service event is one auto-reset object that everyone may use")
{
    const CapturedLog log;
    const KernelHandle event(createCredetialSeviceEvent());
    wchar_t line[128];
    _snwprintf(line, std::size(line), L"%screateCredetialSeviceEvent : credetialServiceEvent = 0x%x",
               Source.c_str(), unsigned(reinterpret_cast<std::uintptr_t>(&createCredetialSeviceEvent)));
    CHECK(log.Lines().back() == line);

    const KernelHandle second(createCredetialSeviceEvent());
    const KernelHandle byName(
        OpenEventA(EVENT_ALL_ACCESS, FALSE, "Global\\{D3368B8A-2EA4-49d7-A2B0-6F711BAD3DB9}"));
    REQUIRE((event && second && byName));
    CHECK(WaitForSingleObject(event.Get(), 0) == WAIT_TIMEOUT);
    SetEvent(byName.Get());
    CHECK(WaitForSingleObject(second.Get(), 0) == WAIT_OBJECT_0);
    CHECK(WaitForSingleObject(event.Get(), 0) == WAIT_TIMEOUT);

    DWORD flags = 0;
    CHECK((GetHandleInformation(event.Get(), &flags) && (flags & HANDLE_FLAG_INHERIT) != 0));
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    REQUIRE(GetSecurityInfo(event.Get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                            nullptr, nullptr, &descriptor) == ERROR_SUCCESS);
    BOOL present = FALSE;
    BOOL defaulted = TRUE;
    ACL unset;
    PACL dacl = &unset;
    CHECK(GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted));
    CHECK((present && dacl == nullptr));
    LocalFree(descriptor);
}

TEST_CASE("waiting for the credential-service event lasts until it is signalled and keeps no handle")
{
    const CapturedLog log;
    waitCredetialSeviceEvent(); // there is none: at once
    KernelHandle event(createCredetialSeviceEvent());
    const auto wait = [](void*) -> DWORD { return waitCredetialSeviceEvent(), 0; };
    const KernelHandle thread(CreateThread(nullptr, 0, wait, nullptr, 0, nullptr));
    CHECK(WaitForSingleObject(thread.Get(), 200) == WAIT_TIMEOUT);
    SetEvent(event.Get());
    REQUIRE(WaitForSingleObject(thread.Get(), 5000) == WAIT_OBJECT_0);
    CHECK(WaitForSingleObject(event.Get(), 0) == WAIT_TIMEOUT);
    event.Reset();
    CHECK(OpenEventA(SYNCHRONIZE, FALSE, STR_CREDENTIAL_SERVICE) == nullptr);

    const std::wstring label = Source + L"waitCredetialSeviceEvent : waitCredetialSeviceEvent ";
    const std::vector<std::wstring> lines = log.Lines();
    REQUIRE(lines.size() == 7);
    CHECK(lines[0] == label + L"== 0x0");
    CHECK((lines[4].starts_with(label + L"== 0x") && lines[4] != lines[0]));
    CHECK((lines[5] == label + L"enter" && lines[6] == label + L"leave"));
}
