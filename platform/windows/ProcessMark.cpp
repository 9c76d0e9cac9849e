#include "platform/ProcessMark.h"

namespace platform {

// No process here begins as the copy of another one.

ProcessMark::ProcessMark() noexcept : m_process(0) {}

bool ProcessMark::isHere() const noexcept {
    return m_process == 0;
}

}  // namespace platform
