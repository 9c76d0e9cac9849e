#pragma once

#include "host/CString.h"
#include "host/Export.h"

#include <string>
#include <type_traits>
#include <vector>

// The application's own logger, instead of OIDCAuth's header of this name: the library only needs
// the levels and Log.

namespace LoggingUtilities {

enum class ELogLevel : int { Flow = 1, Detail = 2, Warning = 3, Error = 4 };

/// Writes lines with a name in front to standard error.
class OIDCAUTH_HOST_API CLogger {
public:
    explicit CLogger(std::string name);

    template <class... Args>
    void Log(ELogLevel level, const wchar_t* format, const Args&... args) const noexcept {
        try {
            write(level, format, {text(args)...});
        } catch (...) {  // NOLINT(bugprone-empty-catch): no request fails because of its log
        }
    }

private:
    template <class T>
    static std::string text(const T& value) {
        if constexpr (std::is_arithmetic_v<T>) {
            return std::to_string(value);
        } else {
            return CString(value).toUtf8();
        }
    }
    void write(ELogLevel level, const wchar_t* format, const std::vector<std::string>& args) const;

    std::string m_name;
};

}  // namespace LoggingUtilities
