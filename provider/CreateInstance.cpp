#include "ClassFactory.h"
#include "CreationGate.h"
#include "LogFile.h"
#include "Module.h"
#include "VexaFPProvider.h"

#include <new>

namespace {

constexpr char LogSource[] = "VexaFPProvider.cpp";

/// The only reference to a new provider, or E_OUTOFMEMORY.
HRESULT CreateProvider(REFIID riid, void** ppv)
{
    // Another interface than the provider's is refused as if memory had run out, and leaves the event open:
    // deliberate.
    if (riid != IID_ICredentialProvider)
        return E_OUTOFMEMORY;
    auto* provider = new (std::nothrow) CVexaFPProvider;
    if (provider == nullptr) {
        ReleaseCredentialServiceEvent();
        return E_OUTOFMEMORY;
    }
    const HRESULT result = provider->QueryInterface(riid, ppv);
    provider->Release();
    return result;
}

} // namespace

HRESULT CSample_CreateInstance(REFIID riid, void** ppv)
{
    const HRESULT refusal = PassCreationGate();
    if (FAILED(refusal))
        return refusal;
    const HRESULT result = CreateProvider(riid, ppv);
    FP_LOG("CSample_CreateInstance", L"return 0x%x", static_cast<unsigned>(result));
    return result;
}
