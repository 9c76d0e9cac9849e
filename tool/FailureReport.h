#pragma once

#include "tool/ExitCode.h"

#include <cpprest/json.h>

#include <exception>

namespace tool {

/// A failure for programs: what standard error says of it where JSON was asked for.
web::json::value reportOf(const std::exception_ptr& failure, const Outcome& outcome);

}  // namespace tool
