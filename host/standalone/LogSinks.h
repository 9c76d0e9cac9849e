#pragma once

#include "host/CLogger.h"
#include "host/Export.h"

#include <memory>
#include <string>
#include <string_view>

namespace spdlog {
class logger;
}

namespace standalone {

/// A copy of a log line, in UTF-8, without secrets and safe for a terminal, so that it may be kept.
///
/// - Tokens and codes are shortened to their first four characters and an ellipsis, or to the
///   ellipsis if they have no more than four. They are found anywhere in the line
///   (`access_token=`, `"code":`, `Bearer `, a JWT and others). All text after `rtoken = `, except
///   for a final dot, counts as one token.
/// - Passwords and client secrets become an ellipsis, because they can be short.
/// - Characters that end lines, control a terminal or reverse the direction of writing, and bytes
///   that are not UTF-8, become escapes (`\n`, `\x1b`, `\u202e`).
///
/// In doubt, it removes more rather than less. Safe for several threads.
///
/// \ingroup host
OIDCAUTH_HOST_API std::string redact(std::string_view line);

/// Writes each line with time and level to the standard error output, redacted by redact().
///
/// Lines are coloured on a terminal only. They are UTF-8; the console of Windows shows them with
/// any code page. A desktop program on Windows has no standard error output: use DebuggerLog there.
///
/// \ingroup host
class OIDCAUTH_HOST_API StandardErrorLog final : public LoggingUtilities::ILoggerImpl {
public:
    /// Drops lines below `minimum`.
    explicit StandardErrorLog(LoggingUtilities::ELogLevel minimum);

    void write(LoggingUtilities::ELogLevel level, const CString& line) override;

private:
    LoggingUtilities::ELogLevel m_minimum;
    std::shared_ptr<spdlog::logger> m_logger;
};

}  // namespace standalone
