// The answer as people and as programs read it.
#pragma once

#include "Doctor.h"

std::wstring AsText(const Diagnosis& diagnosis);
/// One object on one line.
std::wstring AsJson(const Diagnosis& diagnosis);
