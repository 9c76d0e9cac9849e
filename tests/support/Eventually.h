#pragma once

#include "tests/support/Common.h"

namespace test {

/// Everything that is sure to end soon has ended after this time, on any machine.
constexpr auto patience = std::chrono::seconds(10);

/// Whether the condition becomes true within that time.
template <class Condition>
bool eventually(Condition condition, std::chrono::seconds limit = patience) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

/// The outcome of a task that ends soon. If it does not end, the test fails but continues.
template <class Task>
auto get(const Task& task) {
    if (!eventually([&task] { return task.is_done(); })) {
        throw std::runtime_error("this has not ended");
    }
    return task.get();
}

}  // namespace test
