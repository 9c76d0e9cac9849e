#pragma once

#include <string>

namespace standalone::detail {

/// What this thread's last call of the system failed with.
int lastError() noexcept;

/// In words, in UTF-8, without a line's end.
std::string textOfError(int error);

}  // namespace standalone::detail
