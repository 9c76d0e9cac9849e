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

/// A line as it may be kept: without its secrets, and safe for a terminal.
///
/// - The rest of the line behind `rtoken = `, but for a final dot, and tokens and codes wherever
///   they stand (`access_token=`, `"code":`, `Bearer `, a JWT ...) appear as their first four
///   characters and an ellipsis, or as the ellipsis alone where they have no more than four.
/// - Passwords and client secrets appear as the ellipsis alone: they can be short.
/// - Characters that end lines, control a terminal or reverse the direction of writing, and bytes
///   that are not UTF-8, appear as escapes (`\n`, `\x1b`, `\u202e`).
///
/// In doubt it takes away more.
OIDCAUTH_HOST_API std::string redact(std::string_view line);

/// Writes each line with its time and level to the standard error output, redacted, coloured on a
/// terminal only. In UTF-8; the console of Windows shows it whatever its code page is. A desktop
/// program on Windows has none: windows/DebuggerLog.h.
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
