#pragma once

#include <string>

namespace standalone::detail {

/// The error of this thread's last system call.
int lastError() noexcept;

/// The error as text, in UTF-8, without a line end.
std::string textOfError(int error);

}  // namespace standalone::detail
