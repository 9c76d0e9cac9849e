#pragma once

#include "tool/ExitCode.h"

#include <cpprest/json.h>

#include <exception>

namespace tool {

/// A failure as JSON for programs: the object for standard error.
web::json::value reportOf(const std::exception_ptr& failure, const Outcome& outcome);

}  // namespace tool
