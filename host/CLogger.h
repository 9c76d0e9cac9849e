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

/// How important a log line is. The numbers are fixed and rise with the importance.
///
/// \ingroup host
enum class ELogLevel : int {
    Flow = 1,     ///< progress and success of a flow
    Detail = 2,   ///< discovery, requests, decisions
    Warning = 3,  ///< something failed, and the request goes on
    Error = 4,    ///< the request fails
};

/// Receives log lines: the sink of a CLogger. Several threads may call it at once.
///
/// standalone::StandardErrorLog is one.
///
/// \ingroup host
class OIDCAUTH_HOST_API ILoggerImpl {
public:
    virtual ~ILoggerImpl();
    /// Takes one line, without a line end. The line is dropped if this throws.
    ///
    /// **A line may contain secrets**, such as the refresh token that is about to be used. An
    /// implementation that keeps lines must redact them, for example by standalone::redact().
    virtual void write(ELogLevel level, const CString& line) = 0;
};

/// Formats printf-style wide text, type-safely, and passes it to a sink.
///
/// A line that cannot be formatted or written is dropped, so that no request fails because of its
/// log. Safe for several threads.
///
/// \ingroup host
class OIDCAUTH_HOST_API CLogger {
public:
    /// Shares `sink`. Throws std::invalid_argument if it is empty.
    explicit CLogger(std::shared_ptr<ILoggerImpl> sink);

    /// Writes a line. In `format`, %s takes CString, narrow UTF-8 and wide text; numbers are as in
    /// printf.
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
