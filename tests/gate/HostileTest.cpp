// What the gate's partners may do: a service that does not answer, a library that asks for gigabytes.
#include "flow/ProviderLife.h"

#include "PreBootLibrary/Script.h"

#include <doctest/doctest.h>
#include <psapi.h>

TEST_CASE("a service that hangs is a no, and holds the creation for its three questions at most")
{
    Machine machine;
    machine.fitness.MarkChecked();
    Dll dll;
    HRESULT result = E_FAIL;
    {
        const Machine::Suspension suspension;
        const ULONGLONG start = GetTickCount64();
        dll.TryCreate(&result);
        CHECK(result == E_OUTOFMEMORY);
        // Three times 2000 ms; a call that is waited for takes until the service wakes.
        CHECK(GetTickCount64() - start < 9000);
    }
    dll.Create();
    CHECK(dll.Unload());
}

TEST_CASE("memory that the library asks for and does not fill is not touched")
{
    Machine machine;
    PreBootLibrary::Script script;
    script.record = PreBootLibrary::MakeRecord(L"anna", L"secret", L"SIMULATED-PC");
    script.size = MAXLONG;
    REQUIRE(PreBootLibrary::Store(script));
    PROCESS_MEMORY_COUNTERS before{};
    PROCESS_MEMORY_COUNTERS after{};
    REQUIRE(GetProcessMemoryInfo(GetCurrentProcess(), &before, sizeof before));
    ProviderLife life(machine);
    life.Start();
    CHECK(life.sink.WaitFor(1));
    REQUIRE(GetProcessMemoryInfo(GetCurrentProcess(), &after, sizeof after));
    CHECK(after.PeakWorkingSetSize - before.PeakWorkingSetSize < 500 * 1024 * 1024);
}
