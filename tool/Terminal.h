#pragma once

#include <string>

namespace tool {

/// Whether a person may be reading standard error.
bool isErrorTerminal();

/// That of the person by whom the process runs; empty where the system knows none.
std::string userName();

}  // namespace tool
