#include "WindowsModel/NtStatus.h"

#include "WindowsModel/Lsa.h"

#include "WindowsModel/Replacement.h"

#include <cstring>

namespace WindowsModel {

namespace {

constexpr USHORT MaximumPackageName = 127;

NTSTATUS ModelLsaConnectUntrusted(HANDLE* connection)
{
    if (connection == nullptr)
        return STATUS_INVALID_PARAMETER;
    const ModelState state;
    *connection = NewHandle();
    state->lsa.openConnections.push_back(*connection);
    ++state->lsa.connects;
    return STATUS_SUCCESS;
}

NTSTATUS LookUp(const LsaState& lsa, HANDLE connection, const LSA_STRING& name, ULONG* number)
{
    if (std::find(lsa.openConnections.begin(), lsa.openConnections.end(), connection) ==
        lsa.openConnections.end())
        return STATUS_INVALID_HANDLE;
    if (name.Length > name.MaximumLength || name.Buffer == nullptr)
        return STATUS_INVALID_PARAMETER;
    if (name.Length > MaximumPackageName)
        return STATUS_NAME_TOO_LONG;
    for (const AuthenticationPackage& package : lsa.packages) {
        // The length counts, not a NUL: a wrong one names no package.
        if (package.name.size() == name.Length &&
            _strnicmp(package.name.c_str(), name.Buffer, name.Length) == 0) {
            *number = package.number;
            return STATUS_SUCCESS;
        }
    }
    return STATUS_NO_SUCH_PACKAGE;
}

NTSTATUS ModelLsaLookupAuthenticationPackage(HANDLE connection, LSA_STRING* name, ULONG* number)
{
    if (name == nullptr || number == nullptr)
        return STATUS_INVALID_PARAMETER;
    const ModelState state;
    const NTSTATUS status = LookUp(state->lsa, connection, *name, number);
    const std::string text =
        name->Buffer == nullptr ? std::string() : std::string(name->Buffer, name->Length);
    state->lsa.lookups.push_back({text, name->Length, name->MaximumLength, status});
    return status;
}

NTSTATUS ModelLsaDeregisterLogonProcess(HANDLE connection)
{
    const ModelState state;
    if (TakeOut(state->lsa.openConnections, connection))
        return STATUS_SUCCESS;
    ++state->lsa.wrongCloses;
    return STATUS_INVALID_HANDLE;
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Lsa, Status, LsaConnectUntrusted, ModelLsaConnectUntrusted),
    SIM_MODELLED(Lsa, Status, LsaLookupAuthenticationPackage, ModelLsaLookupAuthenticationPackage),
    SIM_MODELLED(Lsa, Status, LsaDeregisterLogonProcess, ModelLsaDeregisterLogonProcess),
};

} // namespace

std::span<const Replacement> LsaReplacements()
{
    return g_replacements;
}

LONG LsaState::PackageNumber(const char* name) const
{
    for (const AuthenticationPackage& package : packages) {
        if (_stricmp(package.name.c_str(), name) == 0)
            return LONG(package.number);
    }
    return -1;
}

} // namespace WindowsModel
