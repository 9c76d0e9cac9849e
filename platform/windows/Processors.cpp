#include "platform/Processors.h"

#include <windows.h>

namespace platform {

bool hasSeveralProcessors() noexcept {
    DWORD_PTR allowed = 0;
    DWORD_PTR all = 0;
    return ::GetProcessAffinityMask(::GetCurrentProcess(), &allowed, &all) == 0 ||
           (allowed & (allowed - 1)) != 0;
}

void relax() noexcept {
    YieldProcessor();
}

}  // namespace platform
