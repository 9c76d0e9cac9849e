#include "platform/Processors.h"

#include <sched.h>

namespace platform {

bool hasSeveralProcessors() noexcept {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    return ::sched_getaffinity(0, sizeof(allowed), &allowed) != 0 || CPU_COUNT(&allowed) > 1;
}

void relax() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

}  // namespace platform
