#pragma once

#include <cstdlib>

namespace fuzz {

/// What does not hold ends the process: a finding.
inline void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

}  // namespace fuzz
