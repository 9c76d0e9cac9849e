#pragma once

#include "auth/detail/Error.h"
#include "host/CLogger.h"

#include <memory>

namespace auth::detail {

using LoggerPtr = std::shared_ptr<LoggingUtilities::CLogger>;
using LoggingUtilities::ELogLevel;

/// A logger is optional everywhere.
template <class... Args>
void log(const LoggerPtr& logger, ELogLevel level, const wchar_t* format, const Args&... args) {
    if (logger) {
        logger->Log(level, format, args...);
    }
}

/// Ends a step that failed: the log line for whoever runs the program, the exception for its code.
template <class... Args>
[[noreturn]] void fail(const LoggerPtr& logger, const Error& error, const wchar_t* format,
                       const Args&... args) {
    log(logger, ELogLevel::Error, format, args...);
    throw error;
}

}  // namespace auth::detail
