#pragma once

#include <windows.h>

#include <optional>
#include <string>

namespace standalone::detail {

/// A variable of this process's environment; nothing where it is not set. In a header, since the
/// command needs it as well.
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
        value.resize(size);  // with its end where it did not fit
        if (fits) {
            return value;
        }
    }
}

}  // namespace standalone::detail
