#pragma once

namespace tool {

/// Whether a person may be reading standard error.
bool isErrorTerminal();

}  // namespace tool
