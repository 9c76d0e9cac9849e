#pragma once

#include "host/CLogger.h"

#include <spdlog/sinks/sink.h>

#include <memory>
#include <string>

namespace standalone::detail {

/// What a sink writes: the level's name and the redacted text, in UTF-8.
std::string lineOf(LoggingUtilities::ELogLevel level, const CString& text);

/// The standard error output, coloured on a terminal only.
std::shared_ptr<spdlog::sinks::sink> makeErrorSink();

}  // namespace standalone::detail
