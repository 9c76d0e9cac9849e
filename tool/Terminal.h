#pragma once

namespace tool {

/// Whether a person may be reading standard error.
bool isErrorTerminal();

/// Fills the places of standard streams that were closed when the process began, before a file that
/// is opened, the token's even, can take one and receive what is printed there. Reading and writing
/// go on failing as at a closed one. Whether that succeeded.
bool reserveStandardStreams();

}  // namespace tool
