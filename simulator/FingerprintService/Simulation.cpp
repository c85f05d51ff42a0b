#include "Simulation.h"

#include "Guard.h"
#include "Outputs.h"
#include "ServiceClient/ServiceControl.h"

namespace {

constexpr long kPbaEnabled = 1;

} // namespace

Simulation& Simulation::Instance()
{
    static Simulation& instance = *new Simulation;
    return instance;
}

Simulation::Simulation()
    : m_quit(CreateEventW(nullptr, TRUE, FALSE, nullptr)), m_started(ServiceClient::Now())
{
    SetDefaults();
}

void Simulation::SetDefaults()
{
    std::array<BYTE, 16> backup = outputs::Backup();
    m_enrolled = {outputs::EnrolledUser()};
    m_results = {};
    m_results[kIsPbaEnable] = kPbaEnabled;
    m_backup.assign(backup.begin(), backup.end());
}

void Simulation::Enrol(const UserRecord& account)
{
    Guard guard(m_lock);
    m_enrolled.push_back(account);
}

void Simulation::EnrolNobody()
{
    Guard guard(m_lock);
    m_enrolled.clear();
}

std::vector<UserRecord> Simulation::Enrolled() const
{
    Guard guard(m_lock);
    return m_enrolled;
}

long Simulation::Result(int opnum) const
{
    Guard guard(m_lock);
    return m_results[opnum];
}

void Simulation::SetResult(int opnum, long result)
{
    Guard guard(m_lock);
    m_results[opnum] = result;
}

std::vector<BYTE> Simulation::Backup() const
{
    Guard guard(m_lock);
    return m_backup;
}

void Simulation::SetBackup(std::vector<BYTE> bytes)
{
    Guard guard(m_lock);
    m_backup = std::move(bytes);
}

void Simulation::Reset()
{
    m_sensor.Reset();
    Guard guard(m_lock);
    SetDefaults();
}

std::wstring Simulation::State() const
{
    std::wstring text = L"process " + std::to_wstring(GetCurrentProcessId()) + L"\nstarted " +
                        std::to_wstring(m_started) + L"\n" + m_sensor.State();
    Guard guard(m_lock);
    for (const UserRecord& account : m_enrolled)
        text += L"enrolled " + Describe(account) + L"\n";
    for (int opnum = 0; opnum < kProcedureCount; ++opnum)
        if (m_results[opnum] != 0)
            text += L"result " + std::wstring(kProcedures[opnum].name) + L" " +
                    std::to_wstring(m_results[opnum]) + L"\n";
    return text;
}
