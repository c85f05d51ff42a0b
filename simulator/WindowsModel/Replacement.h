// How one replaced function is made: a row in a table names it, its way to fail and its model, and the
// template below writes the function that goes into the import table.
#pragma once

#include "WindowsModel/SimulatedWindows.h"

#include <windows.h>

#include <algorithm>
#include <optional>
#include <span>
#include <type_traits>

namespace WindowsModel {

/// How a function tells that it failed; that is also how a failure on demand is reported.
enum class Fails {
    Never,
    LastError, ///< 0, FALSE or null, and the code as last error
    Invalid,   ///< -1 or INVALID_HANDLE_VALUE, and the code as last error
    Status,    ///< the code is the value returned
};

struct Replacement {
    const char* name;
    Group group;
    Fails fails;
    void* function;
    void** original;
};

/// Keeps the caller's last error across whatever the model does meanwhile.
class KeepLastError {
public:
    KeepLastError() : m_error(GetLastError()) {}
    KeepLastError(const KeepLastError&) = delete;
    KeepLastError& operator=(const KeepLastError&) = delete;
    ~KeepLastError() { SetLastError(m_error); }

private:
    DWORD m_error;
};

/// The state as a model sees it: locked, and whoever waits for a change is woken afterwards. The caller's
/// last error survives, unless the model sets one itself once this object is gone.
class ModelState {
public:
    State* operator->() const { return m_locked.operator->(); }
    State& operator*() const { return *m_locked; }

private:
    struct Notification {
        ~Notification() { SimulatedWindows::Instance().NotifyChange(); }
    };

    // Destroyed from the last to the first: unlock, notify, restore the last error.
    KeepLastError m_lastError;
    Notification m_notification;
    SimulatedWindows::Locked m_locked{SimulatedWindows::Instance()};
};

/// Writes the call down, and takes the failure that waits for it.
std::optional<DWORD> EnterCall(const char* function);

/// A function's name as a template argument.
template <size_t Size>
struct FunctionName {
    constexpr FunctionName(const char (&name)[Size]) { std::copy_n(name, Size, text); }
    char text[Size];
};

/// The function that was in the import table. Valid as soon as a replacement of it can be called.
template <FunctionName Name, class Signature>
inline Signature* g_original = nullptr;

template <class Result, Fails Way>
Result FailedResult([[maybe_unused]] DWORD code)
{
    if constexpr (Way == Fails::Status) {
        return static_cast<Result>(code);
    } else {
        SetLastError(code);
        if constexpr (Way == Fails::LastError)
            return Result{};
        else if constexpr (std::is_pointer_v<Result>)
            return reinterpret_cast<Result>(intptr_t(-1));
        else
            return static_cast<Result>(-1);
    }
}

template <FunctionName Name, Fails Way, class Signature, Signature* Model>
struct Trampoline;

template <FunctionName Name, Fails Way, class Result, class... Parameters, Result (*Model)(Parameters...)>
struct Trampoline<Name, Way, Result(Parameters...), Model> {
    static Result Call(Parameters... arguments)
    {
        [[maybe_unused]] const std::optional<DWORD> failure = EnterCall(Name.text);
        if constexpr (Way != Fails::Never) {
            if (failure)
                return FailedResult<Result, Way>(*failure);
        }
        if constexpr (Model != nullptr)
            return Model(arguments...);
        else
            return g_original<Name, Result(Parameters...)>(arguments...);
    }

    static Replacement Row(Group group)
    {
        return {Name.text, group, Way, reinterpret_cast<void*>(&Call),
                reinterpret_cast<void**>(&g_original<Name, Result(Parameters...)>)};
    }
};

// Rows of a table. Only 64-bit Windows is meant: it has one calling convention, so WINAPI is no part of a
// type.
#define SIM_MODELLED(group, way, name, model)                                                                \
    Trampoline<#name, Fails::way, decltype(::name), &(model)>::Row(Group::group)
#define SIM_PASSED(group, way, name)                                                                         \
    Trampoline<#name, Fails::way, decltype(::name), nullptr>::Row(Group::group)
// For a function whose declaration is not at hand, or would bring too much along.
#define SIM_MODELLED_AS(group, way, name, model, ...)                                                        \
    Trampoline<#name, Fails::way, __VA_ARGS__, &(model)>::Row(Group::group)
#define SIM_PASSED_AS(group, way, name, ...)                                                                 \
    Trampoline<#name, Fails::way, __VA_ARGS__, nullptr>::Row(Group::group)
#define SIM_ORIGINAL(name) g_original<#name, decltype(::name)>

// The tables, one to a topic.
std::span<const Replacement> AccountReplacements();
std::span<const Replacement> LocalUserReplacements();
std::span<const Replacement> CredentialReplacements();
std::span<const Replacement> LsaReplacements();
std::span<const Replacement> SessionReplacements();
std::span<const Replacement> PowerReplacements();
std::span<const Replacement> LocaleReplacements();
std::span<const Replacement> ClockReplacements();
std::span<const Replacement> TextReplacements();
std::span<const Replacement> CommandReplacements();
std::span<const Replacement> DeviceReplacements();
std::span<const Replacement> ServiceReplacements();
std::span<const Replacement> PassThroughReplacements();

/// Names of accounts, services and the like are compared without regard to case.
bool SameName(std::wstring_view a, std::wstring_view b);

/// A handle that stands for something in the model: not null, not Windows', different from call to call.
HANDLE NewHandle();

/// Takes the value out of the list; false when it is not there.
template <class T>
bool TakeOut(std::vector<T>& list, const T& value)
{
    const auto place = std::find(list.begin(), list.end(), value);
    if (place == list.end())
        return false;
    list.erase(place);
    return true;
}

/// For functions that answer with a BOOL and a last error.
inline BOOL Answer(DWORD error)
{
    if (error != ERROR_SUCCESS)
        SetLastError(error);
    return error == ERROR_SUCCESS;
}

inline std::wstring TextOrEmpty(const wchar_t* text)
{
    return text == nullptr ? std::wstring() : std::wstring(text);
}

} // namespace WindowsModel
