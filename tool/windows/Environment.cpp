#include "tool/Environment.h"

#include "tool/windows/Text.h"

#include <windows.h>

namespace tool {

std::optional<std::string> readVariable(const std::string& name) {
    const std::wstring wideName = wide(name);
    std::wstring value;
    for (;;) {
        ::SetLastError(ERROR_SUCCESS);
        const DWORD size = ::GetEnvironmentVariableW(wideName.c_str(), value.data(),
                                                     static_cast<DWORD>(value.size()));
        if (size == 0 && ::GetLastError() != ERROR_SUCCESS) {
            return std::nullopt;
        }
        const bool fits = size < value.size() || size == 0;
        value.resize(size);  // with its end where it did not fit
        if (fits) {
            return utf8(value);
        }
    }
}

}  // namespace tool
