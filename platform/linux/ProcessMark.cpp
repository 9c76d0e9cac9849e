#include "platform/ProcessMark.h"

#include <unistd.h>

namespace platform {

ProcessMark::ProcessMark() noexcept : m_process(::getpid()) {}

bool ProcessMark::isHere() const noexcept {
    return m_process == ::getpid();
}

}  // namespace platform
