#include "FingerprintServer.h"

#include "Simulation.h"

namespace {

constexpr wchar_t kMutexName[] = L"Global\\VexaFPServiceSimulator";
// After a stop the previous process still needs a moment to end, and a start may follow at once.
constexpr DWORD kPredecessorLimit = 3000;
constexpr DWORD kCallsLimit = 3000;

} // namespace

DWORD FingerprintServer::Start()
{
    m_only.Reset(CreateMutexW(nullptr, FALSE, kMutexName));
    if (!m_only)
        return GetLastError();
    // An abandoned mutex is a predecessor that died, as scripts make it do.
    DWORD wait = WaitForSingleObject(m_only.Get(), kPredecessorLimit);
    if (wait != WAIT_OBJECT_0 && wait != WAIT_ABANDONED) {
        m_only.Reset();
        return ERROR_SERVICE_ALREADY_RUNNING;
    }
    // The pipe comes second: whoever gets an answer from it can count on the endpoint.
    DWORD error = static_cast<DWORD>(m_endpoint.Start());
    return error == ERROR_SUCCESS ? m_control.Start() : error;
}

void FingerprintServer::Stop()
{
    if (!m_only)
        return;
    Simulation& simulation = Simulation::Instance();
    simulation.Journal().Close();
    m_control.Stop();
    simulation.Sensor().Close();
    m_endpoint.Stop(simulation.Journal().WaitForIdle(kCallsLimit));
    ReleaseMutex(m_only.Get());
    m_only.Reset();
}
