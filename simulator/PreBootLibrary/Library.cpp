// The exports of the simulated library. README.md says what they answer.
#include "Script.h"

#include <algorithm>
#include <cstring>

namespace {

/// What asking for credentials returns when nobody was authenticated.
constexpr LONG NobodyAuthenticated = 0x2051;

LONG Noted(const std::wstring& call, LONG status, const std::wstring& outcome = {})
{
    PreBootLibrary::NoteCall(call + L" = " + std::to_wstring(status) + outcome);
    return status;
}

} // namespace

extern "C" {

long vcsWavPbaOpen(unsigned char use)
{
    return Noted(L"vcsWavPbaOpen(" + std::to_wstring(use) + L")",
                 PreBootLibrary::Load().openStatus.value_or(0));
}

long vcsWavIsPbaEnabled(unsigned char* enabled)
{
    const PreBootLibrary::Script script = PreBootLibrary::Load();
    if (const LONG status = script.enabledStatus.value_or(0); status != 0)
        return Noted(L"vcsWavIsPbaEnabled()", status);
    *enabled = static_cast<unsigned char>(script.enabled.value_or(1));
    return Noted(L"vcsWavIsPbaEnabled()", 0, L", " + std::to_wstring(*enabled));
}

long vcsWavPbaGetAuthUserCreds(unsigned char* buffer, long* size)
{
    const PreBootLibrary::Script script = PreBootLibrary::Load();
    const std::wstring call = std::wstring(L"vcsWavPbaGetAuthUserCreds(") +
                              (buffer == nullptr ? L"null, " : L"buffer, ") + std::to_wstring(*size) + L")";
    const LONG usual = script.record ? 0 : NobodyAuthenticated;
    const LONG status = (buffer == nullptr ? script.sizeStatus : script.credsStatus).value_or(usual);
    if (status != 0)
        return Noted(call, status);
    const std::vector<BYTE> record = script.record.value_or(std::vector<BYTE>());
    if (buffer != nullptr)
        std::memcpy(buffer, record.data(), std::min<size_t>(record.size(), size_t(std::max(*size, 0L))));
    *size = (buffer == nullptr ? script.size : script.filledSize).value_or(LONG(record.size()));
    return Noted(call, 0, L", size " + std::to_wstring(*size));
}

long vcsWavPbaClose()
{
    return Noted(L"vcsWavPbaClose()", PreBootLibrary::Load().closeStatus.value_or(0));
}
}
