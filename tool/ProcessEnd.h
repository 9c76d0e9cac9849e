#pragma once

#include "tool/ExitCode.h"

namespace tool {

/// Ends this process without waiting for anything that it has started.
[[noreturn]] void endAtOnce(ExitCode code);

}  // namespace tool
