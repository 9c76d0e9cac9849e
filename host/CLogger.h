#pragma once

#include "host/CString.h"
#include "host/Export.h"

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

namespace LoggingUtilities {

/// Severity of a line; the numbers are fixed and rise with the importance.
enum class ELogLevel : int {
    Flow = 1,     ///< progress and success of a flow
    Detail = 2,   ///< discovery, requests, decisions
    Warning = 3,  ///< tolerated: something failed and the request goes on
    Error = 4,    ///< the request fails
};

/// Where log lines go. Called from several threads at once.
class OIDCAUTH_HOST_API ILoggerImpl {
public:
    virtual ~ILoggerImpl();
    /// One line, without a line end. It may hold secrets of the flow (a refresh token that is about
    /// to be used): an implementation that keeps lines redacts them.
    virtual void write(ELogLevel level, const CString& line) = 0;
};

/// Formats printf-style wide text, type-safely, and hands it on. A line that cannot be formatted or
/// written is dropped: no request fails because of its log.
class OIDCAUTH_HOST_API CLogger {
public:
    explicit CLogger(std::shared_ptr<ILoggerImpl> sink);

    /// `format` takes CString, narrow UTF-8 and wide text as %s, and numbers as printf does.
    template <class... Args>
    void Log(ELogLevel level, const wchar_t* format, const Args&... args) const noexcept {
        try {
            write(level, format, {argument(args)...});
        } catch (...) {  // NOLINT(bugprone-empty-catch): see the class comment
        }
    }

private:
    using Argument = std::variant<std::int64_t, std::uint64_t, double, std::wstring>;

    template <class T>
    static Argument argument(const T& value) {
        if constexpr (std::is_floating_point_v<T>) {
            return double{value};
        } else if constexpr (std::is_signed_v<T>) {
            return std::int64_t{value};
        } else if constexpr (std::is_unsigned_v<T>) {
            return std::uint64_t{value};
        } else {
            return wide(value);
        }
    }
    static std::wstring wide(const CString& text);
    static std::wstring wide(const std::wstring& text);
    static std::wstring wide(const wchar_t* text);
    static std::wstring wide(const std::string& utf8);
    static std::wstring wide(const char* utf8);

    void write(ELogLevel level, const wchar_t* format, const std::vector<Argument>& args) const;

    std::shared_ptr<ILoggerImpl> m_sink;
};

}  // namespace LoggingUtilities
