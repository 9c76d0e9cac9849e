#include "host/standalone/detail/LogLine.h"

#include <spdlog/sinks/stdout_color_sinks.h>

std::shared_ptr<spdlog::sinks::sink> standalone::detail::makeErrorSink() {
    return std::make_shared<spdlog::sinks::stderr_color_sink_mt>();
}
