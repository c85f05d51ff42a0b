#include "ProviderLife.h"

ProviderLife::ProviderLife(Machine& machine) : m_machine(machine)
{
    m_promptsSeen = machine.windows.Snapshot().texts.prompts.size();
    // Each life is the first after a start of Windows: its creation needs no fingerprint service.
    machine.fitness.ForgetCheck();
    provider = dll.Create();
}

ProviderLife::~ProviderLife()
{
    m_machine.ReleaseSleeps();
    m_machine.HurryWaits();
    End();
}

void ProviderLife::Start(CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario)
{
    m_scenario = scenario;
    sink.provider = provider.get();
    REQUIRE(provider->SetUsageScenario(scenario, 0) == S_OK);
    REQUIRE(provider->Advise(&sink, Context) == S_OK);
    credential = CredentialOf(*provider);
}

void ProviderLife::StartAndWaitForPrompt(CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario)
{
    Start(scenario);
    REQUIRE(SeePrompt(L"Please scan a finger"));
}

bool ProviderLife::SeePrompt(const std::wstring& text)
{
    const auto place = m_machine.windows.WaitForPrompt(text, Patience, m_promptsSeen);
    if (place)
        m_promptsSeen = *place + 1;
    return place.has_value();
}

HWND ProviderLife::Window() const
{
    const HWND window = FindEventWindow();
    REQUIRE(window != nullptr);
    return window;
}

void ProviderLife::CheckLogon() const
{
    const auto logon = LogonOf(*credential, m_scenario);
    CHECK(logon.domain == L"SIMULATED-PC");
    CHECK(logon.user == L"anna");
    CHECK(WindowsModel::Logon(logon).status == 0);
}

void ProviderLife::LogOn() const
{
    m_machine.Tell(L"place SIMULATED-PC anna secret");
    REQUIRE(sink.WaitFor(1));
    CheckLogon();
}

void ProviderLife::End()
{
    // What a slow machine may add to a release whose waits are over at once.
    constexpr DWORD bound = 10000; // ms
    if (!provider)
        return;
    credential.reset();
    provider->UnAdvise();
    const ULONGLONG start = GetTickCount64();
    CHECK(provider.release()->Release() == 0);
    CHECK(GetTickCount64() - start < bound);
}

bool ProviderLife::EndAndUnload()
{
    End();
    return dll.Unload();
}

bool WaitForNoEventWindow()
{
    return Await([] { return FindEventWindow() == nullptr; });
}

void CheckNextLife(Machine& machine)
{
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    life.LogOn();
}
