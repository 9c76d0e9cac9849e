#pragma once

#include "host/CLogger.h"
#include "host/Export.h"

namespace standalone {

/// Sends each line with its level to the debugger of this process, or to another listener for its
/// messages, redacted by redact(). For desktop programs, which have no standard error output.
/// Windows only.
///
/// \ingroup host
class OIDCAUTH_HOST_API DebuggerLog final : public LoggingUtilities::ILoggerImpl {
public:
    /// Drops lines below `minimum`.
    explicit DebuggerLog(LoggingUtilities::ELogLevel minimum) : m_minimum(minimum) {}

    void write(LoggingUtilities::ELogLevel level, const CString& line) override;

private:
    LoggingUtilities::ELogLevel m_minimum;
};

}  // namespace standalone
