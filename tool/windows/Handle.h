#pragma once

#include <windows.h>

#include <system_error>
#include <utility>

namespace tool {

[[noreturn]] inline void failSystem(const char* what, DWORD error = ::GetLastError()) {
    throw std::system_error(static_cast<int>(error), std::system_category(), what);
}

/// Closes the handle; null or an invalid handle means none.
class Handle {
public:
    explicit Handle(HANDLE handle = nullptr) noexcept
        : m_handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
    ~Handle() {
        if (m_handle != nullptr) {
            ::CloseHandle(m_handle);
        }
    }
    Handle(Handle&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}
    Handle& operator=(Handle&& other) noexcept {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    explicit operator bool() const noexcept { return m_handle != nullptr; }
    HANDLE get() const noexcept { return m_handle; }

private:
    HANDLE m_handle;
};

/// Not the null device, which the C runtime treats as a terminal.
inline bool isConsole(HANDLE handle) {
    DWORD mode = 0;
    return ::GetConsoleMode(handle, &mode) != 0;
}

/// Throws std::system_error if there is none.
inline Handle required(HANDLE handle, const char* what) {
    Handle owned(handle);
    if (!owned) {
        failSystem(what);
    }
    return owned;
}

}  // namespace tool
