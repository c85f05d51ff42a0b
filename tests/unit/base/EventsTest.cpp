#include "Events.h"

#include "Handle.h"
#include "LogFixture.h"

#include <aclapi.h>
#include <doctest/doctest.h>

#include <cstdio>

namespace {

constexpr char ServiceEventName[] = "Global\\{D3368B8A-2EA4-49d7-A2B0-6F711BAD3DB9}";

std::wstring LogLine(const char* label, const wchar_t* format, const void* pointer = nullptr)
{
    wchar_t line[256];
    swprintf(line, std::size(line), L" ..\\..\\base\\common.cpp %hs : ", label);
    wchar_t message[256];
    swprintf(message, std::size(message), format,
             static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(pointer)));
    return std::wstring(line) + message;
}

TEST_CASE("the credential-service event is one auto-reset object that everyone may use")
{
    const CapturedLog log;
    const KernelHandle event(createCredetialSeviceEvent());
    REQUIRE(event);
    const void* function = reinterpret_cast<const void*>(&createCredetialSeviceEvent);
    CHECK(log.Lines() == std::vector{
                             LogLine("createCredetialSeviceEvent", L"start"),
                             LogLine("GetSecurityEveryOne", L"start"),
                             LogLine("createCredetialSeviceEvent", L"credetialServiceEvent = 0x%x", function),
                         });

    const KernelHandle second(createCredetialSeviceEvent());
    const KernelHandle byName(OpenEventA(EVENT_ALL_ACCESS, FALSE, ServiceEventName));
    REQUIRE(second);
    REQUIRE(byName);
    CHECK(second.Get() != event.Get());
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

TEST_CASE("waiting for the credential-service event")
{
    const CapturedLog log;
    SUBCASE("returns at once when there is none")
    {
        waitCredetialSeviceEvent();
        CHECK(log.Lines() ==
              std::vector{LogLine("waitCredetialSeviceEvent", L"waitCredetialSeviceEvent == 0x0")});
    }
    SUBCASE("lasts until it is signalled and keeps no handle")
    {
        KernelHandle event(createCredetialSeviceEvent());
        const KernelHandle thread(CreateThread(
            nullptr, 0,
            [](void*) -> DWORD {
                waitCredetialSeviceEvent();
                return 0;
            },
            nullptr, 0, nullptr));
        CHECK(WaitForSingleObject(thread.Get(), 200) == WAIT_TIMEOUT);
        SetEvent(event.Get());
        REQUIRE(WaitForSingleObject(thread.Get(), 5000) == WAIT_OBJECT_0);
        CHECK(WaitForSingleObject(event.Get(), 0) == WAIT_TIMEOUT);

        const std::vector<std::wstring> lines = log.Lines();
        REQUIRE(lines.size() == 6);
        CHECK(lines[3].starts_with(LogLine("waitCredetialSeviceEvent", L"waitCredetialSeviceEvent == 0x")));
        CHECK_FALSE(lines[3].ends_with(L" 0x0"));
        CHECK(lines[4] == LogLine("waitCredetialSeviceEvent", L"waitCredetialSeviceEvent enter"));
        CHECK(lines[5] == LogLine("waitCredetialSeviceEvent", L"waitCredetialSeviceEvent leave"));

        event.Reset();
        SetLastError(0xDEADBEEF);
        CHECK(OpenEventA(SYNCHRONIZE, FALSE, ServiceEventName) == nullptr);
        CHECK(GetLastError() == ERROR_FILE_NOT_FOUND);
    }
}

} // namespace
