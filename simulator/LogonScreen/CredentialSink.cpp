#include "CredentialSink.h"
#include "Names.h"
#include "Text.h"

#include <memory>
#include <utility>

namespace {

std::wstring TextOf(LPCWSTR text)
{
    return text != nullptr ? text : L"";
}

/// The change of one field that may not exist: a credential's mistake there is shown by the record of its
/// call.
template <class Change>
std::function<void(Tile&)> OnField(DWORD id, const Change& change)
{
    return [id, change](Tile& tile) {
        if (TileField* field = tile.Find(id))
            change(*field);
    };
}

} // namespace

STDMETHODIMP CredentialSink::QueryInterface(REFIID iid, void** object)
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    if (iid != IID_IUnknown && iid != IID_ICredentialProviderCredentialEvents)
        return E_NOINTERFACE;
    *object = static_cast<ICredentialProviderCredentialEvents*>(this);
    AddRef();
    return S_OK;
}

HRESULT CredentialSink::Record(std::wstring text, std::function<void(Tile&)> apply)
{
    {
        CriticalSectionScope scope(m_lock);
        m_changes.push_back({std::move(text), std::move(apply)});
    }
    SetEvent(m_activity);
    return S_OK;
}

std::vector<TileChange> CredentialSink::Take()
{
    CriticalSectionScope scope(m_lock);
    return std::exchange(m_changes, {});
}

STDMETHODIMP CredentialSink::SetFieldState(ICredentialProviderCredential*, DWORD id,
                                           CREDENTIAL_PROVIDER_FIELD_STATE state)
{
    return Record(Format(L"SetFieldState(%lu, %s)", id, FieldStateName(state)),
                  OnField(id, [state](TileField& field) { field.state = state; }));
}

STDMETHODIMP CredentialSink::SetFieldInteractiveState(ICredentialProviderCredential*, DWORD id,
                                                      CREDENTIAL_PROVIDER_FIELD_INTERACTIVE_STATE state)
{
    return Record(Format(L"SetFieldInteractiveState(%lu, %s)", id, InteractiveStateName(state)),
                  OnField(id, [state](TileField& field) { field.interactive = state; }));
}

STDMETHODIMP CredentialSink::SetFieldString(ICredentialProviderCredential*, DWORD id, LPCWSTR text)
{
    // The text is not written out: the field may be one for passwords.
    return Record(Format(L"SetFieldString(%lu, %zu characters)", id, TextOf(text).size()),
                  OnField(id, [copy = TextOf(text)](TileField& field) { field.text = copy; }));
}

STDMETHODIMP CredentialSink::SetFieldCheckbox(ICredentialProviderCredential*, DWORD id, BOOL checked,
                                              LPCWSTR label)
{
    return Record(Format(L"SetFieldCheckbox(%lu, %s, %s)", id, checked ? L"TRUE" : L"FALSE",
                         Quoted(TextOf(label)).c_str()),
                  OnField(id, [copy = TextOf(label)](TileField& field) { field.text = copy; }));
}

STDMETHODIMP CredentialSink::SetFieldBitmap(ICredentialProviderCredential*, DWORD id, HBITMAP bitmap)
{
    // The caller keeps its bitmap, so the tile needs one of its own.
    auto copy = std::make_shared<BitmapHandle>(
        static_cast<HBITMAP>(CopyImage(bitmap, IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION)));
    return Record(Format(L"SetFieldBitmap(%lu, %p)", id, static_cast<void*>(bitmap)),
                  OnField(id, [copy](TileField& field) { field.bitmap.Reset(copy->Release()); }));
}

STDMETHODIMP CredentialSink::SetFieldComboBoxSelectedItem(ICredentialProviderCredential*, DWORD id,
                                                          DWORD item)
{
    return Record(Format(L"SetFieldComboBoxSelectedItem(%lu, %lu)", id, item));
}

STDMETHODIMP CredentialSink::DeleteFieldComboBoxItem(ICredentialProviderCredential*, DWORD id, DWORD item)
{
    return Record(Format(L"DeleteFieldComboBoxItem(%lu, %lu)", id, item));
}

STDMETHODIMP CredentialSink::AppendFieldComboBoxItem(ICredentialProviderCredential*, DWORD id, LPCWSTR text)
{
    return Record(Format(L"AppendFieldComboBoxItem(%lu, %s)", id, Quoted(TextOf(text)).c_str()));
}

STDMETHODIMP CredentialSink::SetFieldSubmitButton(ICredentialProviderCredential*, DWORD id, DWORD adjacentTo)
{
    return Record(Format(L"SetFieldSubmitButton(%lu, next to %lu)", id, adjacentTo));
}

STDMETHODIMP CredentialSink::OnCreatingWindow(HWND* owner)
{
    if (owner == nullptr)
        return E_POINTER;
    *owner = m_owner;
    return Record(L"OnCreatingWindow()");
}
