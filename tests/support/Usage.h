#pragma once

#include "tests/support/Eventually.h"

namespace test {

/// This process's use of system resources.
struct Usage {
    std::size_t residentKiB;
    std::size_t peakKiB;  ///< the peak so far
    std::size_t heapKiB;  ///< in use; the allocator may hold more. 0 under a sanitizer
    std::size_t threads;
    std::size_t descriptors;
};

Usage usage();

/// Whether there are no more threads and descriptors than before within `limit`: released ones end
/// a moment later, and idle threads after a while.
inline bool settles(const Usage& before, std::chrono::seconds limit) {
    return eventually(
        [&] {
            const Usage now = usage();
            return now.threads <= before.threads && now.descriptors <= before.descriptors;
        },
        limit);
}

/// Whether the heap in use grows by more than this many KiB every time. The allocator keeps memory
/// for each thread for a while, but that does not grow every time.
template <class Action>
bool growsEachTime(std::size_t slackKiB, Action action) {
    for (int round = 0; round < 8; ++round) {
        const auto most = usage().heapKiB + slackKiB;
        action();
        if (eventually([&] { return usage().heapKiB <= most; }, std::chrono::seconds(1))) {
            return false;
        }
    }
    return true;
}

}  // namespace test
