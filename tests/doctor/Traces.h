// What a program that changes nothing leaves as it is.
#pragma once

#include <string>
#include <vector>

/// Keys, with their times and counts, and files of the places that the product knows.
std::vector<std::wstring> TakeTraces();
