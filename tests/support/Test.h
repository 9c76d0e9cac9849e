#pragma once

// What most tests need.

#include "tests/support/Eventually.h"
#include "tests/support/NearMiss.h"

#include <gmock/gmock.h>

namespace test {

/// A change of something, and what comes of it.
template <class Subject>
struct Row {
    std::string name;
    std::function<void(Subject&)> change;
    std::string outcome;
    std::string logged = {};
};

}  // namespace test
