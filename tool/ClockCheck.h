#pragma once

#include "tool/Fetch.h"
#include "tool/ProviderChecks.h"

#include <vector>

namespace tool {

/// Compares the provider's clock with this machine's, by the date of an answer. Empty if the answer
/// has no usable date.
std::vector<Check> checkClock(const FetchedJson& answer);

}  // namespace tool
