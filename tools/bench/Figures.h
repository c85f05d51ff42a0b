// Samples, what they come to, and the table of it.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "Text.h"

struct Samples {
    std::vector<double> values;

    void Add(double value) { values.insert(std::upper_bound(values.begin(), values.end(), value), value); }
    /// In percent of the way from the least to the greatest.
    double At(unsigned percent) const
    {
        return values.empty() ? 0 : values[((values.size() - 1) * percent + 50) / 100];
    }
    std::wstring Columns() const
    {
        if (values.empty())
            return Format(L"%27s", L"");
        return values.size() == 1 ? Format(L"%9.6g%18s", At(50), L"")
                                  : Format(L"%9.6g%9.6g%9.6g", At(50), At(95), At(100));
    }
    std::wstring Json() const
    {
        return Format(L"{\"samples\": %d, \"min\": %.6g, \"median\": %.6g, \"p95\": %.6g, \"max\": %.6g}",
                      static_cast<int>(values.size()), At(0), At(50), At(95), At(100));
    }
};

/// With an aim, which is the highest ratio of the medians that is wanted, there is a floor.
struct Figure {
    const wchar_t* name;
    const wchar_t* unit;
    double aim = 0;
    Samples shipped = {};
    Samples floor = {};

    double Ratio() const { return floor.At(50) > 0 ? shipped.At(50) / floor.At(50) : 0; }

    /// Much less than what cannot be left out was not measured right, nor was more than a hundredfold.
    bool IsAbsurd() const { return shipped.values.empty() || (aim > 0 && (Ratio() < 0.1 || Ratio() > 100)); }

    std::wstring Row() const
    {
        std::wstring row = Format(L"%-45s%-9s", name, unit) + shipped.Columns() + floor.Columns();
        if (aim > 0)
            row += Format(L"%7.2f%6.2f%s", Ratio(), aim, Ratio() > aim ? L" missed" : L"");
        return row + (IsAbsurd() ? L" absurd\n" : L"\n");
    }
    std::wstring Json() const
    {
        return Format(L"  {\"figure\": \"%s\", \"unit\": \"%s\", \"aim\": %g, \"ratio\": %.4g,\n   "
                      L"\"shipped\": ",
                      name, unit, aim, Ratio()) +
               shipped.Json() + L",\n   \"floor\": " + floor.Json() + L"}";
    }
};
