#pragma once

#include "tests/support/Eventually.h"

#include <malloc.h>

#include <iterator>

namespace test {

/// What this process has of the system.
struct Usage {
    std::size_t residentKiB;
    std::size_t heapKiB;  ///< in use; the allocator may hold more. 0 under a sanitizer
    std::size_t threads;
    std::size_t descriptors;
};

/// A number of /proc/self/status, such as "VmHWM:", the largest resident size so far in KiB.
inline std::size_t processStatus(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == name) {
            std::size_t number = 0;
            status >> number;
            return number;
        }
    }
    return 0;
}

inline Usage usage() {
    const auto entries = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    const auto open = static_cast<std::size_t>(entries) - 1;  // but for the folder itself
    return {processStatus("VmRSS:"), ::mallinfo2().uordblks / 1024, processStatus("Threads:"),
            open};
}

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
