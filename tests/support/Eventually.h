#pragma once

#include <chrono>
#include <thread>

namespace test {

/// Whether the condition comes to hold within that time.
template <class Condition>
bool eventually(Condition condition, std::chrono::seconds limit = std::chrono::seconds(10)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}  // namespace test
