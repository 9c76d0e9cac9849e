#pragma once

#include "tests/support/Eventually.h"

namespace test {

/// What this process has of the system.
struct Usage {
    std::size_t residentKiB;
    std::size_t peakKiB;  ///< of these, so far
    std::size_t heapKiB;  ///< in use; the allocator may hold more. 0 under a sanitizer
    std::size_t threads;
    std::size_t descriptors;
};

Usage usage();

/// Whether no more threads and descriptors than before are there within `limit`: what is let go of
/// ends a moment later, and idle threads after a while.
inline bool settles(const Usage& before, std::chrono::seconds limit) {
    return eventually(
        [&] {
            const Usage now = usage();
            return now.threads <= before.threads && now.descriptors <= before.descriptors;
        },
        limit);
}

/// Whether this grows each time by more than so many KiB in use. The allocator keeps something for
/// each thread, for a while: that does not grow every time.
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
