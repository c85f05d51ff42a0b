#include "Figures.h"

#include "Text.h"

#include <algorithm>
#include <cstdio>

namespace {

std::string Number(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.4g", value);
    return text;
}

std::string JsonOf(const Samples& samples)
{
    const Summary summary = Summarize(samples);
    return "{\"samples\": " + std::to_string(samples.size()) + ", \"min\": " + Number(summary.least) +
           ", \"median\": " + Number(summary.median) + ", \"p95\": " + Number(summary.p95) +
           ", \"max\": " + Number(summary.maximum) + "}";
}

std::wstring Columns(const Samples& samples)
{
    if (samples.empty())
        return Format(L"%26s", L"-");
    const Summary summary = Summarize(samples);
    if (samples.size() == 1)
        return Format(L"%10.6g%16s", summary.median, L"");
    return Format(L"%10.6g%8.6g%8.6g", summary.median, summary.p95, summary.maximum);
}

} // namespace

Summary Summarize(Samples samples)
{
    if (samples.empty())
        return {};
    std::sort(samples.begin(), samples.end());
    const std::size_t last = samples.size() - 1;
    return {samples[0], samples[samples.size() / 2], samples[(last * 95 + 50) / 100], samples[last]};
}

double Figure::Ratio() const
{
    const double least = Summarize(floor).median;
    return least > 0 ? Summarize(shipped).median / least : 0;
}

std::string Figure::Absurdity() const
{
    // Less than half of what cannot be left out was not measured right, nor was more than a hundredfold.
    constexpr double lowest = 0.5;
    constexpr double highest = 100;
    if (shipped.empty() || (aim > 0 && floor.empty()))
        return "no samples";
    if (aim > 0 && (Ratio() < lowest || Ratio() > highest))
        return "the ratio to the floor is " + Number(Ratio());
    if (Summarize(shipped).least < 0 && aim > 0)
        return "less than nothing";
    return {};
}

std::wstring Table(const std::vector<Figure>& figures)
{
    std::wstring table = Format(L"\n%-52s%10s%8s%8s%10s%8s%8s%8s%6s\n", L"", L"shipped", L"p95", L"max",
                                L"floor", L"p95", L"max", L"ratio", L"aim");
    for (const Figure& figure : figures) {
        table += Format(L"%-52s", FromUtf8(std::string(figure.name) + ", " + figure.unit).c_str());
        table += Columns(figure.shipped) + Columns(figure.floor);
        if (figure.aim > 0)
            table += Format(L"%8.2f%6.2f%s", figure.Ratio(), figure.aim,
                            figure.Ratio() > figure.aim ? L" missed" : L"");
        table += L"\n";
    }
    return table;
}

std::string Json(const std::vector<Figure>& figures)
{
    std::string json;
    for (const Figure& figure : figures) {
        json += std::string(json.empty() ? "[\n" : ",\n") + "  {\"figure\": \"" + figure.name +
                "\", \"unit\": \"" + figure.unit + "\", \"shipped\": " + JsonOf(figure.shipped);
        if (!figure.floor.empty())
            json += ", \"floor\": " + JsonOf(figure.floor);
        if (figure.aim > 0)
            json += ", \"ratio\": " + Number(figure.Ratio()) + ", \"aim\": " + Number(figure.aim);
        json += "}";
    }
    return json + "\n]\n";
}
