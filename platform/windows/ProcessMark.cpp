#include "platform/ProcessMark.h"

namespace platform {

// On Windows no process starts as a copy of another one.

ProcessMark::ProcessMark() noexcept : m_process(0) {}

bool ProcessMark::isHere() const noexcept {
    return m_process == 0;
}

}  // namespace platform
