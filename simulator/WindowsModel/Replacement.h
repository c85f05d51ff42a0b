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
    Raises,    ///< the code is raised as a structured exception
};

struct Replacement {
    const char* name;
    Group group;
    Fails fails;
    void* function;
    void** original;
};

/// One topic's rows. A table that stands in a source file of the model is found by being there.
class Table;
inline const Table* g_tables = nullptr;

class Table {
public:
    template <size_t Count>
    explicit Table(const Replacement (&replacements)[Count]) : rows(replacements), next(g_tables)
    {
        g_tables = this;
    }

    const std::span<const Replacement> rows;
    const Table* const next;
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

/// The state as a model sees it.
class ModelState : public SimulatedWindows::Locked {
public:
    ModelState() : Locked(SimulatedWindows::Instance()) {}
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
    if constexpr (Way == Fails::Raises)
        RaiseException(code, 0, 0, nullptr);
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

// Rows of a table. For 64-bit Windows alone: it has one calling convention, so WINAPI is no part of a
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

/// Names of accounts, services and the like are compared without regard to case.
bool SameName(std::wstring_view a, std::wstring_view b);

/// For functions that answer with a BOOL and a last error.
inline BOOL Answer(DWORD error)
{
    if (error != ERROR_SUCCESS)
        SetLastError(error);
    return error == ERROR_SUCCESS;
}

} // namespace WindowsModel
