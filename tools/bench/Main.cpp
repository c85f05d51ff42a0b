// Bench: how fast the shipped DLL is, each figure beside its floor, measured in turns.
#include "Figures.h"
#include "Life.h"
#include "Process.h"

#include "FitMachine/Fitness.h"
#include "PreBootLibrary/Script.h"
#include "ServiceClient/ServiceControl.h"
#include "Text.h"

#include <objbase.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

constexpr char LogFolder[] = "C:\\CPLog";
constexpr wchar_t ShippedModule[] = L"VexaFPCredentialProvider.dll";
constexpr wchar_t BareModule[] = L"BareModule.dll";

struct Options {
    unsigned samples = 100;
    unsigned idleSeconds = 30;
    unsigned unixId = 0;
    std::string json = "bench.json";
};

/// In the order of the table.
enum FigureId {
    AnnounceLogOff,
    AnnounceLogOn,
    FirstPrompt,
    Load,
    Gate,
    Serialization,
    LogLine,
    Release,
    ReleaseApart,
    IdleWakeUps,
    IdleTicks,
    GrowthLife,
    GrowthMatch,
    DllSize,
    WorkingSetWaiting,
    WorkingSetAdded
};

class Bench {
public:
    explicit Bench(const Options& options) : m_options(options) {}

    void Run();
    const std::vector<Figure>& Figures() const { return m_figures; }

private:
    enum Side { Shipped, Floor };

    void Add(FigureId id, Side side, double value)
    {
        (side == Shipped ? m_figures[id].shipped : m_figures[id].floor).push_back(value);
    }
    template <class Step>
    double Time(Step step)
    {
        const long long start = ServiceClient::Now();
        step();
        return double(ServiceClient::Now() - start) / 10;
    }

    void LoadOnce(Side side);
    void LearnLogTexts();
    std::unique_ptr<Life> Begin(Side side, bool logging, bool stopApart = false, double* gate = nullptr,
                                double* prompt = nullptr);
    /// From the service's answer to the announcement, in microseconds.
    double Match();
    void End(Life& life);
    /// `stopApart`: see MakeBareLife.
    void LeadLife(Side side, bool logging, bool stopApart = false);
    void RepeatMatches(Side side);
    void Idle();

    const Options m_options;
    FitMachine::Scope m_machine;
    Signals m_signals;
    decltype(&MakeBareLife) m_makeBareLife = nullptr;
    LogTexts m_texts;
    unsigned m_identifications = 0;
    // clang-format off
    std::vector<Figure> m_figures = {
        {"answer to announcement, log off", "us", 1.3},
        {"answer to announcement, log on", "us", 1.2},
        {"create to first prompt", "us", 1.3},
        {"load, class object, unload", "us", 1.2},
        {"creation gate", "us", 1.1},
        {"GetSerialization", "us", 1.1},
        {"one log line", "us", 1.2},
        {"Release while a finger is awaited", "us", 1.3},
        {"the same, floor with a thread for CaptureStop", "us", 1.3},
        {"idle, waiting for a finger", "wake-ups"},
        {"idle, waiting for a finger", "ticks of processor time"},
        {"growth a life", "bytes"},
        {"growth a match", "bytes"},
        {"size of the DLL without its pictures", "bytes"},
        {"working set while waiting", "kB"},
        {"of that since the DLL was loaded", "kB"},
    };
    // clang-format on
};

void Tell(const std::wstring& command)
{
    Require(ServiceClient::TellOk(command, 20000), "the service refused a command");
}

void Bench::LoadOnce(Side side)
{
    const double duration = Time([side] {
        constexpr CLSID providerClass = {
            0x0ce326a8, 0xc767, 0x433f, {0x82, 0xb9, 0x60, 0x1b, 0x2a, 0x27, 0x32, 0x1e}};
        const HMODULE module = LoadLibraryW(side == Shipped ? ShippedModule : BareModule);
        Require(module != nullptr, "a module does not load");
        const auto getClassObject = reinterpret_cast<LPFNGETCLASSOBJECT>(
            reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject")));
        IClassFactory* factory = nullptr;
        getClassObject(providerClass, IID_IClassFactory, reinterpret_cast<void**>(&factory));
        if (factory != nullptr)
            factory->Release();
        FreeLibrary(module);
    });
    Add(Load, side, duration);
}

void Bench::LearnLogTexts()
{
    const std::unique_ptr<Life> life = Begin(Shipped, true);
    Match();
    life->LogLine();
    std::string bytes;
    for (const fs::directory_entry& entry : fs::directory_iterator(LogFolder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        bytes.append(std::istreambuf_iterator<char>(file), {});
    }
    End(*life);
    const std::wstring log(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
    bool matching = false;
    for (std::size_t start = 0, end = 0; (end = log.find(L"\r\n", start)) != log.npos; start = end + 2) {
        const std::wstring line = log.substr(start, end + 2 - start);
        if (matching)
            m_texts.match.push_back(line);
        if (line.find(L"RPCIdentifyEnroll Start") != line.npos && m_texts.match.empty())
            matching = true;
        if (line.find(L"StatusChanged") != line.npos)
            matching = false;
        if (line.find(L"SetDeselected") != line.npos)
            m_texts.single = line;
    }
    Require(!m_texts.match.empty() && !matching && !m_texts.single.empty(), "the log is not as expected");
}

std::unique_ptr<Life> Bench::Begin(Side side, bool logging, bool stopApart, double* gate, double* prompt)
{
    PreBootLibrary::Clear();
    m_machine.ForgetCheck();
    Tell(L"reset");
    Tell(L"clear");
    m_identifications = 0;
    std::unique_ptr<Life> life =
        side == Shipped
            ? MakeShippedLife(m_signals)
            : std::unique_ptr<Life>(m_makeBareLife(m_signals, logging ? &m_texts : nullptr, stopApart));
    const double created = Time([&] { life->Create(); });
    m_signals.painted.Reset();
    const double painted = Time([&] {
        life->Start();
        m_signals.painted.Await();
    });
    if (gate != nullptr)
        *gate = created;
    if (prompt != nullptr)
        *prompt = painted;
    Tell(L"wait IdentifyEnroll " + std::to_wstring(++m_identifications));
    return life;
}

double Bench::Match()
{
    m_signals.announced.Reset();
    Tell(L"place FRONTDESK Anna Correct-Horse-7");
    const long long announced = m_signals.announced.Await();
    Tell(L"wait IdentifyEnroll " + std::to_wstring(++m_identifications));
    const auto report = ServiceClient::Report();
    Require(report.has_value(), "the service reports nothing");
    long long answered = 0;
    for (const ServiceClient::ReportedCall& call : *report) {
        if (call.name == L"IdentifyEnroll" && call.answered != 0)
            answered = call.answered;
    }
    return double(announced - answered) / 10;
}

void Bench::End(Life& life)
{
    life.Release();
    life.AwaitEnd();
}

void Bench::LeadLife(Side side, bool logging, bool stopApart)
{
    constexpr int repetitions = 5;
    const std::size_t before = HeapBytes();
    double gate = 0;
    double prompt = 0;
    std::unique_ptr<Life> life = Begin(side, logging, stopApart, &gate, &prompt);
    Add(logging ? AnnounceLogOn : AnnounceLogOff, side, Match());
    for (int i = 0; i < repetitions && logging; ++i)
        Add(LogLine, side, Time([&] { life->LogLine(); }));
    for (int i = 0; i < repetitions && !logging; ++i)
        Add(Serialization, side, Time([&] { life->Serialize(); }));
    const double release = Time([&] { life->Release(); });
    life->AwaitEnd();
    life.reset();
    if (logging)
        return;
    Add(Gate, side, gate);
    Add(FirstPrompt, side, prompt);
    if (side == Shipped || !stopApart)
        Add(Release, side, release);
    if (side == Shipped || stopApart)
        Add(ReleaseApart, side, release);
    Add(GrowthLife, side, double(HeapBytes()) - double(before));
}

void Bench::RepeatMatches(Side side)
{
    const std::unique_ptr<Life> life = Begin(side, false);
    Match();
    for (unsigned i = 0; i < m_options.samples / 4 + 1; ++i) {
        const std::size_t before = HeapBytes();
        Match();
        Add(GrowthMatch, side, double(HeapBytes()) - double(before));
    }
    End(*life);
}

/// The floor: a thread of its own, for which one of the 5000 ms waits follows the other.
DWORD WINAPI WaitInTurns(void* end)
{
    while (WaitForSingleObject(end, 5000) == WAIT_TIMEOUT) {
    }
    return 0;
}

void Bench::Idle()
{
    const std::unique_ptr<Life> life = Begin(Shipped, false);
    const auto others = ReadActivity(m_options.unixId);
    const KernelHandle end(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const KernelHandle floor(CreateThread(nullptr, 0, WaitInTurns, end.Get(), 0, nullptr));
    Sleep(500);
    Add(WorkingSetWaiting, Shipped, double(WorkingSet() / 1024));
    const auto before = ReadActivity(m_options.unixId);
    Sleep(m_options.idleSeconds * 1000);
    const auto after = ReadActivity(m_options.unixId);
    Activity sums[2];
    for (const auto& [id, thread] : before) {
        Activity& sum = sums[others.contains(id) ? Shipped : Floor];
        sum.wakeUps += after.at(id).wakeUps - thread.wakeUps;
        sum.ticks += after.at(id).ticks - thread.ticks;
    }
    for (const Side side : {Shipped, Floor}) {
        Add(IdleWakeUps, side, double(sums[side].wakeUps));
        Add(IdleTicks, side, double(sums[side].ticks));
    }
    SetEvent(end.Get());
    WaitForSingleObject(floor.Get(), INFINITE);
    End(*life);
}

/// Of the DLL's file.
double SizeWithoutPictures()
{
    const HMODULE module = LoadLibraryExW(ShippedModule, nullptr, LOAD_LIBRARY_AS_DATAFILE);
    auto size = double(fs::file_size(ShippedModule));
    const auto subtract = [&](const wchar_t* type, int id) {
        const HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(id), type);
        Require(resource != nullptr, "the DLL lacks a picture");
        size -= SizeofResource(module, resource);
    };
    subtract(RT_BITMAP, 105);
    subtract(L"PNG", 103);
    subtract(L"PNG", 104);
    FreeLibrary(module);
    return size;
}

void Bench::Run()
{
    Require(m_machine.IsFit(), "the machine could not be made fit for a tile");
    const std::size_t workingSet = WorkingSet();
    for (unsigned i = 0; i <= m_options.samples / 2; ++i) {
        LoadOnce(Shipped);
        LoadOnce(Floor);
    }
    m_makeBareLife = reinterpret_cast<decltype(m_makeBareLife)>(
        reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(L"BareProgram.dll"), "MakeBareLife")));
    Require(m_makeBareLife != nullptr, "BareProgram.dll does not load");
    // The first of each kind pays for what the later ones find ready.
    End(*Begin(Shipped, false));
    End(*Begin(Floor, false));
    for (unsigned i = 0; i < m_options.samples; ++i) {
        LeadLife(Shipped, false);
        LeadLife(Floor, false, i % 2 != 0);
    }
    RepeatMatches(Shipped);
    RepeatMatches(Floor);
    Idle();
    Add(WorkingSetAdded, Shipped, m_figures[WorkingSetWaiting].shipped[0] - double(workingSet / 1024));
    Add(DllSize, Shipped, SizeWithoutPictures());

    // From here on the log is on: the DLL keeps its file open, so the folder stays.
    fs::create_directory(LogFolder);
    LearnLogTexts();
    for (unsigned i = 0; i < m_options.samples; ++i) {
        LeadLife(Shipped, true);
        LeadLife(Floor, true);
    }
}

Options ParseOptions(int count, char** words)
{
    Options options;
    for (int i = 1; i + 1 < count; i += 2) {
        const std::string word = words[i];
        if (word == "--samples")
            options.samples = unsigned(std::atoi(words[i + 1]));
        else if (word == "--idle")
            options.idleSeconds = unsigned(std::atoi(words[i + 1]));
        else if (word == "--unix-id")
            options.unixId = unsigned(std::atoi(words[i + 1]));
        else if (word == "--json")
            options.json = words[i + 1];
        else
            throw std::runtime_error("unknown option " + word);
    }
    return options;
}

int RunBench(const Options& options)
{
    Bench bench(options);
    bench.Run();
    PrintOut(Table(bench.Figures()));
    std::ofstream(options.json, std::ios::binary) << Json(bench.Figures());
    int absurd = 0;
    for (const Figure& figure : bench.Figures()) {
        const std::string absurdity = figure.Absurdity();
        if (absurdity.empty())
            continue;
        PrintError(FromUtf8(std::string(figure.name) + ": " + absurdity + "\n"));
        absurd = 1;
    }
    return absurd;
}

} // namespace

int main(int count, char** words)
{
    try {
        return RunBench(ParseOptions(count, words));
    } catch (const std::exception& problem) {
        PrintError(FromUtf8(std::string("Bench: ") + problem.what() + "\n"));
        return 1;
    }
}
