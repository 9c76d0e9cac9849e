#pragma once

// The headers that most tests need.

#include "tests/support/Eventually.h"
#include "tests/support/NearMiss.h"

#include <gmock/gmock.h>

namespace test {

/// A change to an object, and its result.
template <class Subject>
struct Row {
    std::string name;
    std::function<void(Subject&)> change;
    std::string outcome;
    std::string logged = {};
};

inline std::string repeated(const std::string& text, std::size_t times) {
    std::string all;
    for (std::size_t i = 0; i < times; ++i) {
        all += text;
    }
    return all;
}

}  // namespace test
