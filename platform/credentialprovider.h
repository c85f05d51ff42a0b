// The credential provider interfaces of Windows, as far as this system speaks them, for an SDK without them.
// Names, values, layouts and slot orders are those of the Windows SDK's header of the same name.
#pragma once

#include <windows.h>

#include <unknwn.h>

typedef LONG NTSTATUS;

enum CREDENTIAL_PROVIDER_USAGE_SCENARIO {
    CPUS_INVALID = 0,
    CPUS_LOGON,
    CPUS_UNLOCK_WORKSTATION,
    CPUS_CHANGE_PASSWORD,
    CPUS_CREDUI,
    CPUS_PLAP,
};

enum CREDENTIAL_PROVIDER_FIELD_TYPE {
    CPFT_INVALID = 0,
    CPFT_LARGE_TEXT,
    CPFT_SMALL_TEXT,
    CPFT_COMMAND_LINK,
    CPFT_EDIT_TEXT,
    CPFT_PASSWORD_TEXT,
    CPFT_TILE_IMAGE,
    CPFT_CHECKBOX,
    CPFT_COMBOBOX,
    CPFT_SUBMIT_BUTTON,
};

enum CREDENTIAL_PROVIDER_FIELD_STATE {
    CPFS_HIDDEN = 0,
    CPFS_DISPLAY_IN_SELECTED_TILE,
    CPFS_DISPLAY_IN_DESELECTED_TILE,
    CPFS_DISPLAY_IN_BOTH,
};

enum CREDENTIAL_PROVIDER_FIELD_INTERACTIVE_STATE {
    CPFIS_NONE = 0,
    CPFIS_READONLY,
    CPFIS_DISABLED,
    CPFIS_FOCUSED,
};

enum CREDENTIAL_PROVIDER_GET_SERIALIZATION_RESPONSE {
    CPGSR_NO_CREDENTIAL_NOT_FINISHED = 0,
    CPGSR_NO_CREDENTIAL_FINISHED,
    CPGSR_RETURN_CREDENTIAL_FINISHED,
    CPGSR_RETURN_NO_CREDENTIAL_FINISHED,
};

enum CREDENTIAL_PROVIDER_STATUS_ICON {
    CPSI_NONE = 0,
    CPSI_ERROR,
    CPSI_WARNING,
    CPSI_SUCCESS,
};

constexpr DWORD CREDENTIAL_PROVIDER_NO_DEFAULT = 0xFFFFFFFF;

struct CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR {
    DWORD dwFieldID;
    CREDENTIAL_PROVIDER_FIELD_TYPE cpft;
    LPWSTR pszLabel;
    GUID guidFieldType;
};

struct CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION {
    ULONG ulAuthenticationPackage;
    GUID clsidCredentialProvider;
    ULONG cbSerialization;
    byte* rgbSerialization;
};

extern "C" const IID IID_ICredentialProvider;
extern "C" const IID IID_ICredentialProviderCredential;
extern "C" const IID IID_ICredentialProviderCredentialEvents;
extern "C" const IID IID_ICredentialProviderEvents;

struct ICredentialProviderCredential;

struct ICredentialProviderCredentialEvents : IUnknown {
    STDMETHOD(SetFieldState)(ICredentialProviderCredential* pcpc, DWORD dwFieldID,
                             CREDENTIAL_PROVIDER_FIELD_STATE cpfs) PURE;
    STDMETHOD(SetFieldInteractiveState)(ICredentialProviderCredential* pcpc, DWORD dwFieldID,
                                        CREDENTIAL_PROVIDER_FIELD_INTERACTIVE_STATE cpfis) PURE;
    STDMETHOD(SetFieldString)(ICredentialProviderCredential* pcpc, DWORD dwFieldID, LPCWSTR psz) PURE;
    STDMETHOD(SetFieldCheckbox)(ICredentialProviderCredential* pcpc, DWORD dwFieldID, BOOL bChecked,
                                LPCWSTR pszLabel) PURE;
    STDMETHOD(SetFieldBitmap)(ICredentialProviderCredential* pcpc, DWORD dwFieldID, HBITMAP hbmp) PURE;
    STDMETHOD(SetFieldComboBoxSelectedItem)(ICredentialProviderCredential* pcpc, DWORD dwFieldID,
                                            DWORD dwSelectedItem) PURE;
    STDMETHOD(DeleteFieldComboBoxItem)(ICredentialProviderCredential* pcpc, DWORD dwFieldID,
                                       DWORD dwItem) PURE;
    STDMETHOD(AppendFieldComboBoxItem)(ICredentialProviderCredential* pcpc, DWORD dwFieldID,
                                       LPCWSTR pszItem) PURE;
    STDMETHOD(SetFieldSubmitButton)(ICredentialProviderCredential* pcpc, DWORD dwFieldID,
                                    DWORD dwAdjacentTo) PURE;
    STDMETHOD(OnCreatingWindow)(HWND* phwndOwner) PURE;
};

struct ICredentialProviderCredential : IUnknown {
    STDMETHOD(Advise)(ICredentialProviderCredentialEvents* pcpce) PURE;
    STDMETHOD(UnAdvise)() PURE;
    STDMETHOD(SetSelected)(BOOL* pbAutoLogon) PURE;
    STDMETHOD(SetDeselected)() PURE;
    STDMETHOD(GetFieldState)(DWORD dwFieldID, CREDENTIAL_PROVIDER_FIELD_STATE* pcpfs,
                             CREDENTIAL_PROVIDER_FIELD_INTERACTIVE_STATE* pcpfis) PURE;
    STDMETHOD(GetStringValue)(DWORD dwFieldID, LPWSTR* ppsz) PURE;
    STDMETHOD(GetBitmapValue)(DWORD dwFieldID, HBITMAP* phbmp) PURE;
    STDMETHOD(GetCheckboxValue)(DWORD dwFieldID, BOOL* pbChecked, LPWSTR* ppszLabel) PURE;
    STDMETHOD(GetSubmitButtonValue)(DWORD dwFieldID, DWORD* pdwAdjacentTo) PURE;
    STDMETHOD(GetComboBoxValueCount)(DWORD dwFieldID, DWORD* pcItems, DWORD* pdwSelectedItem) PURE;
    STDMETHOD(GetComboBoxValueAt)(DWORD dwFieldID, DWORD dwItem, LPWSTR* ppszItem) PURE;
    STDMETHOD(SetStringValue)(DWORD dwFieldID, LPCWSTR psz) PURE;
    STDMETHOD(SetCheckboxValue)(DWORD dwFieldID, BOOL bChecked) PURE;
    STDMETHOD(SetComboBoxSelectedValue)(DWORD dwFieldID, DWORD dwSelectedItem) PURE;
    STDMETHOD(CommandLinkClicked)(DWORD dwFieldID) PURE;
    STDMETHOD(GetSerialization)(CREDENTIAL_PROVIDER_GET_SERIALIZATION_RESPONSE* pcpgsr,
                                CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION* pcpcs,
                                LPWSTR* ppszOptionalStatusText,
                                CREDENTIAL_PROVIDER_STATUS_ICON* pcpsiOptionalStatusIcon) PURE;
    STDMETHOD(ReportResult)(NTSTATUS ntsStatus, NTSTATUS ntsSubstatus, LPWSTR* ppszOptionalStatusText,
                            CREDENTIAL_PROVIDER_STATUS_ICON* pcpsiOptionalStatusIcon) PURE;
};

struct ICredentialProviderEvents : IUnknown {
    STDMETHOD(CredentialsChanged)(UINT_PTR upAdviseContext) PURE;
};

struct ICredentialProvider : IUnknown {
    STDMETHOD(SetUsageScenario)(CREDENTIAL_PROVIDER_USAGE_SCENARIO cpus, DWORD dwFlags) PURE;
    STDMETHOD(SetSerialization)(const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION* pcpcs) PURE;
    STDMETHOD(Advise)(ICredentialProviderEvents* pcpe, UINT_PTR upAdviseContext) PURE;
    STDMETHOD(UnAdvise)() PURE;
    STDMETHOD(GetFieldDescriptorCount)(DWORD* pdwCount) PURE;
    STDMETHOD(GetFieldDescriptorAt)(DWORD dwIndex, CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR** ppcpfd) PURE;
    STDMETHOD(GetCredentialCount)(DWORD* pdwCount, DWORD* pdwDefault, BOOL* pbAutoLogonWithDefault) PURE;
    STDMETHOD(GetCredentialAt)(DWORD dwIndex, ICredentialProviderCredential** ppcpc) PURE;
};

// For __uuidof.
__CRT_UUID_DECL(ICredentialProvider, 0xd27c3481, 0x5a1c, 0x45b2, 0x8a, 0xaa, 0xc2, 0x0e, 0xbb, 0xe8, 0x22,
                0x9e)
__CRT_UUID_DECL(ICredentialProviderCredential, 0x63913a93, 0x40c1, 0x481a, 0x81, 0x8d, 0x40, 0x72, 0xff, 0x8c,
                0x70, 0xcc)
