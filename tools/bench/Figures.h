// Samples, what they come to, and the table of it.
#pragma once

#include <string>
#include <vector>

using Samples = std::vector<double>;

struct Summary {
    double least, median, p95, maximum;
};
Summary Summarize(Samples samples);

/// Something measured. With a floor, `aim` is the highest ratio of the medians that is wanted.
struct Figure {
    const char* name;
    const char* unit;
    double aim = 0;
    Samples shipped = {};
    Samples floor = {};

    double Ratio() const;
    /// What can't be true, whatever machine this is; empty when nothing is wrong.
    std::string Absurdity() const;
};

std::wstring Table(const std::vector<Figure>& figures);
std::string Json(const std::vector<Figure>& figures);
