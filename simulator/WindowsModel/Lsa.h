// The LSA as an untrusted caller sees it: connections and the numbers of authentication packages.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

namespace WindowsModel {

struct PackageLookup {
    std::string name;
    USHORT length, maximumLength;
    /// An NTSTATUS.
    LONG status;
};

struct LsaState {
    std::vector<PackageLookup> lookups;

    /// The number of a package by its name, or -1. There are Kerberos and Negotiate.
    static LONG PackageNumber(std::string_view name);
};

} // namespace WindowsModel
