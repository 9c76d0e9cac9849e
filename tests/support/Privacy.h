#pragma once

#include "tests/support/Common.h"

namespace test {

/// Makes the path readable for everybody.
void openToOthers(const std::filesystem::path& path);
void closeToOthers(const std::filesystem::path& path);

bool isClosedToOthers(const std::filesystem::path& path);

}  // namespace test
