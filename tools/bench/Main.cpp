// Bench: how fast the shipped DLL is, each figure beside its floor, measured in turns.
//   Bench SAMPLES IDLE-SECONDS UNIX-PROCESS-ID
#include "Figures.h"
#include "Life.h"

#include "FitMachine/Fitness.h"
#include "PreBootLibrary/Script.h"

#include <objbase.h>
#include <psapi.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

namespace fs = std::filesystem;

namespace {

constexpr char LogFolder[] = "C:\\CPLog";
constexpr wchar_t ShippedModule[] = L"VexaFPCredentialProvider.dll";
constexpr wchar_t BareModule[] = L"BareModule.dll";

struct Figures {
    // clang-format off
    Figure announceLogOff   {L"answer to announcement, log off",             L"us",       1.3};
    Figure announceLogOn    {L"answer to announcement, log on",              L"us",       1.2};
    Figure firstPrompt      {L"create to first prompt",                      L"us",       1.3};
    Figure load             {L"load, class object, unload",                  L"us",       1.2};
    Figure gate             {L"creation gate, fit machine",                  L"us",       1.1};
    Figure serialization    {L"GetSerialization",                            L"us",       1.1};
    Figure logLine          {L"one log line",                                L"us",       1.2};
    Figure release          {L"Release while a finger is awaited",           L"us",       1.3};
    Figure releaseApart     {L"  beside a floor with a thread of its own",   L"us",       1.3};
    Figure wakeUps          {L"idle, waiting for a finger",                  L"wake-ups"};
    Figure ticks            {L"idle, waiting for a finger",                  L"ticks"};
    Figure growthLife       {L"growth a life",                               L"bytes"};
    Figure growthMatch      {L"growth a match",                              L"bytes"};
    Figure size             {L"DLL without its pictures",                    L"bytes"};
    Figure workingSet       {L"working set while waiting",                   L"kB"};
    Figure workingSetAdded  {L"  of which came with the DLL",                L"kB"};
    // clang-format on
} g_figures;
constexpr Figure* AllFigures = &g_figures.announceLogOff;
constexpr std::size_t FigureCount = sizeof g_figures / sizeof(Figure);

enum class Side { Shipped, Floor };
constexpr Side BothSides[] = {Side::Shipped, Side::Floor};

void Add(Figure& figure, Side side, double value)
{
    (side == Side::Shipped ? figure.shipped : figure.floor).Add(value);
}

template <class Step>
double Microseconds(Step step)
{
    const long long start = ServiceClient::Now();
    step();
    return double(ServiceClient::Now() - start) / 10;
}

std::size_t HeapBytes()
{
    std::size_t bytes = 0;
    HANDLE heaps[256];
    for (DWORD left = std::min<DWORD>(GetProcessHeaps(256, heaps), 256); left > 0; --left) {
        PROCESS_HEAP_ENTRY entry{};
        HeapLock(heaps[left - 1]);
        while (HeapWalk(heaps[left - 1], &entry))
            bytes += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? entry.cbData : 0;
        HeapUnlock(heaps[left - 1]);
    }
    return bytes;
}

double WorkingSetKb()
{
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return double(counters.WorkingSetSize) / 1024;
}

struct Activity {
    long wakeUps = 0; // each time that it had gone to sleep
    long ticks = 0;   // of processor time
};

/// By thread, without the first, as the kernel under Wine counts.
std::map<std::string, Activity> ReadActivity(const std::string& unixProcess)
{
    std::map<std::string, Activity> threads;
    for (const auto& task : fs::directory_iterator("Z:\\proc\\" + unixProcess + "\\task")) {
        const std::string id = task.path().filename().string();
        if (id == unixProcess)
            continue;
        std::string word;
        std::ifstream status(task.path() / "status");
        while (status >> word && word != "voluntary_ctxt_switches:") {
        }
        status >> threads[id].wakeUps;
        std::ifstream stat(task.path() / "stat");
        std::getline(stat, word);
        // Behind the name in brackets, which may hold anything: 11 fields, then user and system time.
        std::istringstream fields(word.substr(word.find_last_of(')') + 1));
        for (int i = 0; i < 11; ++i)
            fields >> word;
        long system = 0;
        fields >> threads[id].ticks >> system;
        threads[id].ticks += system;
    }
    Require(!threads.empty(), "the kernel does not tell what the threads do");
    return threads;
}

void LoadOnce(Side side)
{
    const auto load = [side] {
        const HMODULE module = LoadLibraryW(side == Side::Shipped ? ShippedModule : BareModule);
        Require(module != nullptr, "a module does not load");
        const auto getClassObject = reinterpret_cast<LPFNGETCLASSOBJECT>(
            reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject")));
        constexpr CLSID provider = {
            0x0ce326a8, 0xc767, 0x433f, {0x82, 0xb9, 0x60, 0x1b, 0x2a, 0x27, 0x32, 0x1e}};
        IClassFactory* factory = nullptr;
        getClassObject(provider, IID_IClassFactory, reinterpret_cast<void**>(&factory));
        if (factory != nullptr)
            factory->Release();
        FreeLibrary(module);
    };
    Add(g_figures.load, side, Microseconds(load));
}

const Life& LifeOf(Side side)
{
    if (side == Side::Shipped)
        return g_shippedLife;
    static const HMODULE module = LoadLibraryW(L"BareProgram.dll");
    Require(module != nullptr, "BareProgram.dll does not load");
    return *reinterpret_cast<const Life*>(reinterpret_cast<void*>(GetProcAddress(module, "g_bareLife")));
}

/// Lives, one after the other, on one fit machine.
class Stage {
public:
    Stage() { Require(m_machine.IsFit(), "the machine could not be made fit for a tile"); }

    /// Returns when a finger is awaited. `gate` and `prompt` receive how long creation and first prompt took.
    const Life& Begin(Side side, double* gate = nullptr, double* prompt = nullptr)
    {
        PreBootLibrary::Clear();
        m_machine.ForgetCheck();
        Tell(L"reset");
        Tell(L"clear");
        m_identifications = 0;
        const Life& life = LifeOf(side);
        const double created = Microseconds([&] { life.create(direction); });
        direction.painted.Reset();
        const long long start = ServiceClient::Now();
        life.start();
        const long long painted = direction.painted.Await();
        if (gate != nullptr && prompt != nullptr) {
            *gate = created;
            *prompt = double(painted - start) / 10;
        }
        AwaitIdentification();
        return life;
    }

    /// Microseconds from the service's answer to the announcement. Returns when the next finger is awaited.
    double Match()
    {
        direction.announced.Reset();
        Tell(L"place FRONTDESK Anna Correct-Horse-7");
        const long long announced = direction.announced.Await();
        AwaitIdentification();
        long long answered = 0;
        const auto report = ServiceClient::Report();
        Require(report.has_value(), "the service does not report");
        for (const auto& call : *report) {
            if (call.name == L"IdentifyEnroll" && call.answered != 0)
                answered = call.answered;
        }
        return double(announced - answered) / 10;
    }

    static void End(const Life& life)
    {
        life.release();
        life.awaitEnd();
    }

    Direction direction;

private:
    static void Tell(const std::wstring& command)
    {
        Require(ServiceClient::TellOk(command, 20000), "the service refused a command");
    }
    void AwaitIdentification() { Tell(L"wait IdentifyEnroll " + std::to_wstring(++m_identifications)); }

    FitMachine::Scope m_machine;
    int m_identifications = 0;
};

void LeadLife(Stage& stage, Side side)
{
    const std::size_t before = HeapBytes();
    double gate = 0;
    double prompt = 0;
    const Life& life = stage.Begin(side, &gate, &prompt);
    Add(g_figures.gate, side, gate);
    Add(g_figures.firstPrompt, side, prompt);
    Add(g_figures.announceLogOff, side, stage.Match());
    for (int i = 0; i < 5; ++i)
        Add(g_figures.serialization, side, Microseconds(life.serialize));
    const double released = Microseconds(life.release);
    if (side == Side::Shipped || !stage.direction.stopApart)
        Add(g_figures.release, side, released);
    if (side == Side::Shipped || stage.direction.stopApart)
        Add(g_figures.releaseApart, side, released);
    life.awaitEnd();
    Add(g_figures.growthLife, side, double(HeapBytes()) - double(before));
}

void LeadLoggedLife(Stage& stage, Side side)
{
    const Life& life = stage.Begin(side);
    Add(g_figures.announceLogOn, side, stage.Match());
    for (int i = 0; i < 5; ++i)
        Add(g_figures.logLine, side, Microseconds(life.logLine));
    Stage::End(life);
}

/// The bare program is to write what the shipped DLL writes.
void LearnLogLines(Stage& stage)
{
    const Life& life = stage.Begin(Side::Shipped);
    stage.Match();
    life.logLine();
    Stage::End(life);
    std::string bytes;
    for (const fs::directory_entry& entry : fs::directory_iterator(LogFolder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        bytes.append(std::istreambuf_iterator<char>(file), {});
    }
    const std::wstring log(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
    bool matching = false;
    for (std::size_t start = 0, end = 0; (end = log.find(L"\r\n", start)) != log.npos; start = end + 2) {
        const std::wstring line = log.substr(start, end + 2 - start);
        if (matching)
            stage.direction.match.push_back(line);
        if (line.find(L"RPCIdentifyEnroll Start") != line.npos)
            matching = stage.direction.match.empty();
        if (line.find(L"StatusChanged") != line.npos)
            matching = false;
        if (line.find(L"SetDeselected") != line.npos)
            stage.direction.line = line;
    }
    Require(!stage.direction.match.empty() && !matching && !stage.direction.line.empty(),
            "the log is not as expected");
}

void RepeatMatches(Stage& stage, Side side, int times)
{
    const Life& life = stage.Begin(side);
    for (stage.Match(); times > 0; --times) {
        const std::size_t before = HeapBytes();
        stage.Match();
        Add(g_figures.growthMatch, side, double(HeapBytes()) - double(before));
    }
    Stage::End(life);
}

/// The floor of waiting: a thread for which one of the 5000 ms waits follows the other.
DWORD WINAPI WaitInTurns(void* end)
{
    while (WaitForSingleObject(end, 5000) == WAIT_TIMEOUT) {
    }
    return 0;
}

void Idle(Stage& stage, int seconds, const std::string& unixProcess)
{
    const Life& life = stage.Begin(Side::Shipped);
    const auto others = ReadActivity(unixProcess);
    const KernelHandle end(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const KernelHandle floor(CreateThread(nullptr, 0, WaitInTurns, end.Get(), 0, nullptr));
    Sleep(500);
    Add(g_figures.workingSet, Side::Shipped, WorkingSetKb());
    const auto before = ReadActivity(unixProcess);
    Sleep(DWORD(seconds) * 1000);
    const auto after = ReadActivity(unixProcess);
    for (const Side side : BothSides) {
        Activity sum;
        for (const auto& [id, thread] : before) {
            if (others.contains(id) != (side == Side::Shipped))
                continue;
            sum.wakeUps += after.at(id).wakeUps - thread.wakeUps;
            sum.ticks += after.at(id).ticks - thread.ticks;
        }
        Add(g_figures.wakeUps, side, double(sum.wakeUps));
        Add(g_figures.ticks, side, double(sum.ticks));
    }
    SetEvent(end.Get());
    WaitForSingleObject(floor.Get(), INFINITE);
    Stage::End(life);
}

double SizeWithoutPictures()
{
    struct {
        const wchar_t* type;
        int id;
    } const pictures[] = {{RT_BITMAP, 105}, {L"PNG", 103}, {L"PNG", 104}};
    const HMODULE module = LoadLibraryW(ShippedModule);
    auto size = double(fs::file_size(ShippedModule));
    for (const auto& picture : pictures)
        size -= SizeofResource(module, FindResourceW(module, MAKEINTRESOURCEW(picture.id), picture.type));
    FreeLibrary(module);
    return size;
}

void Measure(int samples, int idleSeconds, const std::string& unixProcess)
{
    // A logon screen talks to the LSA: what that takes is there before any provider. The rest of what the DLL
    // imports is mapped by nobody yet.
    LoadLibraryW(L"secur32.dll");
    const double workingSet = WorkingSetKb();
    for (int i = 0; i < samples; ++i)
        LoadOnce(BothSides[i % 2]);
    Stage stage;
    // The first of each kind pays for what the later ones find ready.
    for (const Side side : BothSides)
        Stage::End(stage.Begin(side));
    for (int i = 0; i < 2 * samples; ++i) {
        stage.direction.stopApart = i / 2 % 2 != 0;
        LeadLife(stage, BothSides[i % 2]);
    }
    for (const Side side : BothSides)
        RepeatMatches(stage, side, samples / 4 + 1);
    Idle(stage, idleSeconds, unixProcess);
    Add(g_figures.workingSetAdded, Side::Shipped, g_figures.workingSet.shipped.At(50) - workingSet);
    Add(g_figures.size, Side::Shipped, SizeWithoutPictures());

    // From here on the log is on: the DLL keeps its file open, so the folder stays.
    fs::create_directory(LogFolder);
    LearnLogLines(stage);
    for (int i = 0; i < 2 * samples; ++i)
        LeadLoggedLife(stage, BothSides[i % 2]);
}

bool Report()
{
    std::wstring table = Format(L"\n%-54s%9s%9s%9s%9s%9s%9s%7s%6s\n", L"", L"shipped", L"p95", L"max",
                                L"floor", L"p95", L"max", L"ratio", L"aim");
    std::wstring json;
    bool absurd = false;
    for (const Figure* figure = AllFigures; figure != AllFigures + FigureCount; ++figure) {
        table += figure->Row();
        json += (json.empty() ? L"[\n" : L",\n") + figure->Json();
        absurd = absurd || figure->IsAbsurd();
    }
    PrintOut(table);
    std::ofstream("bench.json", std::ios::binary) << ToUtf8(json + L"\n]\n");
    return !absurd;
}

} // namespace

int main(int count, char** words)
{
    try {
        Require(count == 4, "usage: Bench SAMPLES IDLE-SECONDS UNIX-PROCESS-ID");
        Measure(std::atoi(words[1]), std::atoi(words[2]), words[3]);
        return Report() ? 0 : 1;
    } catch (const std::exception& problem) {
        PrintError(FromUtf8(std::string("Bench: ") + problem.what() + "\n"));
        return 1;
    }
}
