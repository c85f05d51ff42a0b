// Why is there no tile?
#pragma once

#include "Checks.h"

#include <vector>

struct Diagnosis {
    /// What each of AllChecks() found, in their order.
    std::vector<Finding> findings;
    /// The place of the finding that decides: the first refusal, or else the first that can't be told.
    std::optional<size_t> decisive;
    Status status = Status::Offered;
};

Diagnosis Diagnose(const Choices& choices);
