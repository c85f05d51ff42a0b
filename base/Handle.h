// One owner for every kind of Win32 resource: move-only, closes what it holds when it goes.
#pragma once

#include <windows.h>

#include <utility>

/// `Policy` supplies `Type`, `Invalid()` and `Close(Type)`; it is asked to close only valid values.
template <class Policy>
class UniqueResource {
public:
    using Type = typename Policy::Type;

    UniqueResource() = default;
    explicit UniqueResource(Type value) : m_value(value) {}
    UniqueResource(UniqueResource&& other) noexcept : m_value(other.Release()) {}
    UniqueResource& operator=(UniqueResource&& other) noexcept
    {
        Reset(other.Release());
        return *this;
    }
    ~UniqueResource() { Reset(); }

    explicit operator bool() const { return m_value != Policy::Invalid(); }
    Type Get() const { return m_value; }

    /// Gives the value up to the caller.
    Type Release() { return std::exchange(m_value, Policy::Invalid()); }

    void Reset(Type value = Policy::Invalid())
    {
        Type old = std::exchange(m_value, value);
        if (old != Policy::Invalid())
            Policy::Close(old);
    }

    /// For a function that hands its result out through a pointer; what was held is closed first.
    Type* Put()
    {
        Reset();
        return &m_value;
    }

private:
    Type m_value = Policy::Invalid();
};

struct KernelHandlePolicy {
    using Type = HANDLE;
    static Type Invalid() { return nullptr; }
    static void Close(Type handle) { CloseHandle(handle); }
};
/// Events, threads, processes: whatever CloseHandle closes and null marks as absent.
using KernelHandle = UniqueResource<KernelHandlePolicy>;

struct ServiceHandlePolicy {
    using Type = SC_HANDLE;
    static Type Invalid() { return nullptr; }
    static void Close(Type handle) { CloseServiceHandle(handle); }
};
using ServiceHandle = UniqueResource<ServiceHandlePolicy>;

struct RegistryKeyPolicy {
    using Type = HKEY;
    static Type Invalid() { return nullptr; }
    static void Close(Type key) { RegCloseKey(key); }
};
using RegistryKey = UniqueResource<RegistryKeyPolicy>;
