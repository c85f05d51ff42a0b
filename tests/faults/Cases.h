// What the campaign consists of: a case is a line of words that leads to the same lives each time.
//
//     fault KIND FUNCTION CALL    that call of that import fails once in a life of that kind
//     records SEED                malformed records from the service and the pre-boot library
//     release SEED                a life that is ended at any moment
//     lives COUNT, matches COUNT  growth over so many lives, or matches of one life
#pragma once

#include <string>
#include <vector>

/// Each call of each import, as a life of each kind without any fault has made them. `sample`: the first and
/// the last call of each import, in two kinds of life.
std::vector<std::string> FaultCases(bool sample);

/// Empty when the case went well; else what went wrong. Afterwards an ordinary life has to log on.
std::string Run(const std::string& words);
