#include "WindowsModel/NtStatus.h"

#include "WindowsModel/Lsa.h"

#include "WindowsModel/Replacement.h"

namespace WindowsModel {

namespace {

NTSTATUS ModelLsaConnectUntrusted(HANDLE* connection)
{
    *connection = ModelState()->ledger.Open();
    return STATUS_SUCCESS;
}

NTSTATUS LookUp(const Ledger& ledger, HANDLE connection, const LSA_STRING& name, ULONG* number)
{
    if (!ledger.Holds(connection))
        return STATUS_INVALID_HANDLE;
    if (name.Length > name.MaximumLength)
        return STATUS_INVALID_PARAMETER;
    // The length counts, not a NUL: a wrong one names no package.
    const LONG found = LsaState::PackageNumber({name.Buffer, name.Length});
    if (found < 0)
        return STATUS_NO_SUCH_PACKAGE;
    *number = ULONG(found);
    return STATUS_SUCCESS;
}

NTSTATUS ModelLsaLookupAuthenticationPackage(HANDLE connection, LSA_STRING* name, ULONG* number)
{
    const ModelState state;
    const NTSTATUS status = LookUp(state->ledger, connection, *name, number);
    state->lsa.lookups.push_back(
        {std::string(name->Buffer, name->Length), name->Length, name->MaximumLength, status});
    return status;
}

NTSTATUS ModelLsaDeregisterLogonProcess(HANDLE connection)
{
    return ModelState()->ledger.Close(connection) ? STATUS_SUCCESS : STATUS_INVALID_HANDLE;
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Lsa, Status, LsaConnectUntrusted, ModelLsaConnectUntrusted),
    SIM_MODELLED(Lsa, Status, LsaLookupAuthenticationPackage, ModelLsaLookupAuthenticationPackage),
    SIM_MODELLED(Lsa, Status, LsaDeregisterLogonProcess, ModelLsaDeregisterLogonProcess),
};
const Table g_table(g_replacements);

} // namespace

LONG LsaState::PackageNumber(std::string_view name)
{
    if (name == "Kerberos")
        return 2;
    return name == "Negotiate" ? 9 : -1;
}

} // namespace WindowsModel
