#include "Secrets.h"

#include "Handle.h"

#include <windows.h>

#include <doctest/doctest.h>
#include <malloc.h>
#include <objbase.h>
#include <tlhelp32.h>
#include <winternl.h>

#include <algorithm>
#include <atomic>
#include <string_view>

namespace {

std::atomic<long> g_secretsFreed = 0;

void (*g_free)(void*);
decltype(&CoTaskMemFree) g_coTaskMemFree;

bool Holds(const void* bytes, size_t size, std::wstring_view text)
{
    const std::string_view wanted(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
    return std::string_view(static_cast<const char*>(bytes), size).find(wanted) != std::string_view::npos;
}

void LookInto(const void* block, size_t size)
{
    constexpr size_t credentialSize = 3 * 256 * sizeof(wchar_t);
    if (size < credentialSize && Holds(block, size, L"secret"))
        ++g_secretsFreed;
}

void WatchedFree(void* block)
{
    if (block != nullptr)
        LookInto(block, _msize(block));
    g_free(block);
}

void WINAPI WatchedCoTaskMemFree(void* block)
{
    IMalloc* allocator = nullptr;
    if (block != nullptr && SUCCEEDED(CoGetMalloc(1, &allocator))) {
        LookInto(block, allocator->GetSize(block));
        allocator->Release();
    }
    g_coTaskMemFree(block);
}

struct ThreadInformation {
    NTSTATUS exitStatus;
    NT_TIB* block;
    CLIENT_ID client;
    ULONG_PTR affinity;
    LONG priority, basePriority;
};

bool IsOnStackOf(DWORD id, const std::wstring& text)
{
    const KernelHandle thread(OpenThread(THREAD_QUERY_INFORMATION, FALSE, id));
    ThreadInformation information{};
    if (!thread || NtQueryInformationThread(thread.Get(), THREADINFOCLASS(0), &information,
                                            sizeof information, nullptr) != 0)
        return false;
    const auto* const limit = static_cast<const char*>(information.block->StackLimit);
    const auto* const base = static_cast<const char*>(information.block->StackBase);
    return Holds(limit, size_t(base - limit), text);
}

} // namespace

void WatchFreedBlocks(WindowsModel::ImportHooks& hooks)
{
    using enum WindowsModel::ImportHooks::Result;
    REQUIRE(hooks.Replace("free", WatchedFree, &g_free) == Replaced);
    REQUIRE(hooks.Replace("CoTaskMemFree", WatchedCoTaskMemFree, &g_coTaskMemFree) == Replaced);
}

long SecretsFreed()
{
    return g_secretsFreed;
}

bool IsOnAnyStack(const std::wstring& text)
{
    const KernelHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    bool found = false;
    for (BOOL more = Thread32First(snapshot.Get(), &entry); more;
         more = Thread32Next(snapshot.Get(), &entry)) {
        if (entry.th32OwnerProcessID == GetCurrentProcessId() && entry.th32ThreadID != GetCurrentThreadId())
            found = found || IsOnStackOf(entry.th32ThreadID, text);
    }
    return found;
}
