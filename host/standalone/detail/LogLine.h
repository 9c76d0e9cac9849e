#pragma once

#include "host/CLogger.h"

#include <spdlog/sinks/sink.h>

#include <memory>
#include <string>

namespace standalone::detail {

/// The line that a sink writes: the level's name and the redacted text, in UTF-8.
std::string lineOf(LoggingUtilities::ELogLevel level, const CString& text);

/// Writes to standard error, with colours only on a terminal.
std::shared_ptr<spdlog::sinks::sink> makeErrorSink();

}  // namespace standalone::detail
