#pragma once

#include <windows.h>

#include <optional>
#include <string>

namespace standalone::detail {

/// A variable of this process's environment; empty if it is not set. In a header, because the
/// command needs it, too.
inline std::optional<std::wstring> wideVariable(const std::wstring& name) {
    std::wstring value;
    for (;;) {
        ::SetLastError(ERROR_SUCCESS);
        const DWORD size =
            ::GetEnvironmentVariableW(name.c_str(), value.data(), static_cast<DWORD>(value.size()));
        if (size == 0 && ::GetLastError() != ERROR_SUCCESS) {
            return std::nullopt;
        }
        const bool fits = size < value.size() || size == 0;
        value.resize(size);  // includes the final zero if it did not fit
        if (fits) {
            return value;
        }
    }
}

}  // namespace standalone::detail
