#pragma once

#include <cstdlib>

namespace fuzz {

/// Ends the process if the condition is false: a finding.
inline void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

}  // namespace fuzz
