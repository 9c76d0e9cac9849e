#include "host/standalone/detail/SystemError.h"

#include <cerrno>
#include <system_error>

namespace standalone::detail {

int lastError() noexcept {
    return errno;
}

std::string textOfError(int error) {
    return std::system_category().message(error);
}

}  // namespace standalone::detail
