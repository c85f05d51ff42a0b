// The LSA as an untrusted caller sees it: connections and the numbers of authentication packages.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace WindowsModel {

struct AuthenticationPackage {
    std::string name;
    ULONG number;
};

struct PackageLookup {
    std::string name;
    USHORT length, maximumLength;
    /// An NTSTATUS.
    LONG status;
};

struct LsaState {
    std::vector<AuthenticationPackage> packages = {{"Kerberos", 2}, {"Negotiate", 9}};
    std::vector<HANDLE> openConnections;
    size_t connects = 0;
    /// Deregistrations of a handle that is not open.
    size_t wrongCloses = 0;
    std::vector<PackageLookup> lookups;

    /// The number of a package by its name, or -1.
    LONG PackageNumber(const char* name) const;
};

} // namespace WindowsModel
