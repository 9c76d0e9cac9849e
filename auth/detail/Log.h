#pragma once

#include "auth/detail/Error.h"
#include "host/CLogger.h"

#include <memory>

namespace auth::detail {

using LoggerPtr = std::shared_ptr<LoggingUtilities::CLogger>;
using LoggingUtilities::ELogLevel;

/// Logging is optional everywhere: the logger may be null.
template <class... Args>
void log(const LoggerPtr& logger, ELogLevel level, const wchar_t* format, const Args&... args) {
    if (logger) {
        logger->Log(level, format, args...);
    }
}

/// Ends a failed step: logs a line for the person who runs the program, and throws an exception for
/// the code.
template <class... Args>
[[noreturn]] void fail(const LoggerPtr& logger, const Error& error, const wchar_t* format,
                       const Args&... args) {
    log(logger, ELogLevel::Error, format, args...);
    throw error;
}

}  // namespace auth::detail
