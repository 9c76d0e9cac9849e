#include "tests/support/Usage.h"

#include <malloc.h>

#include <iterator>

namespace test {

namespace {

/// A number of /proc/self/status.
std::size_t processStatus(const std::string& name) {
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

}  // namespace

Usage usage() {
    const auto entries = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    const auto open = static_cast<std::size_t>(entries) - 1;  // without the folder itself
    return {processStatus("VmRSS:"), processStatus("VmHWM:"), ::mallinfo2().uordblks / 1024,
            processStatus("Threads:"), open};
}

}  // namespace test
