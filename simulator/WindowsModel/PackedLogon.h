// Reads the packed interactive logon that a credential hands to LogonUI, and plays the LSA that receives it.
#pragma once

#include <windows.h>

#include <ntsecapi.h>
#include <credentialprovider.h>

#include <string>
#include <vector>

namespace WindowsModel {

/// A string's own words about itself in the block.
struct PackedString {
    USHORT length, maximum;
    ULONGLONG offset;
};

/// A KERB_INTERACTIVE_UNLOCK_LOGON block taken apart. The strings are read wherever the block can be read,
/// also when rules were broken.
struct PackedLogon {
    DWORD messageType = 0;
    std::wstring domain;
    std::wstring user;
    /// As it stands in the block: protected, or plain.
    std::wstring password;
    PackedString domainPlace = {}, userPlace = {}, passwordPlace = {};
    ULONGLONG logonId = 0;
    /// Every broken rule in words; empty for a block as it should be.
    std::vector<std::string> violations;

    bool Valid() const { return violations.empty(); }
};

/// Checks the fields one by one: message type of the scenario, MaximumLength equal to Length, offsets that
/// follow each other from 64 without a gap, no NUL in a string, LogonId 0, and nothing before or after.
PackedLogon DecodePackedLogon(const void* block, size_t bytes, CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario);

/// The same for what GetSerialization filled in; the provider's class and the number of the model's Negotiate
/// package are checked as well.
PackedLogon DecodePackedLogon(const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION& serialization,
                              CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario, const CLSID& provider);

struct LogonResult {
    NTSTATUS status;
    NTSTATUS substatus;
};

/// The LSA's part: undoes the protection of the password and checks the model's accounts. A block that breaks
/// rules is STATUS_INVALID_PARAMETER; a password that is protected for its maker alone fits no account.
LogonResult Logon(const PackedLogon& logon);

} // namespace WindowsModel
