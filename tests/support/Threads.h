#pragma once

#include "tests/support/Common.h"

namespace test {

/// Runs the body on that many threads at once, with the number of each.
inline void onThreads(int count, const std::function<void(int)>& body) {
    std::vector<std::future<void>> ends;
    ends.reserve(static_cast<std::size_t>(count));
    for (int number = 0; number < count; ++number) {
        ends.push_back(std::async(std::launch::async, body, number));
    }
    for (auto& end : ends) {
        end.get();
    }
}

}  // namespace test
