#pragma once

#include <gmock/gmock.h>

#include <regex>
#include <string>

namespace test {

/// GoogleTest's own MatchesRegex supports neither sets nor counts on Windows.
MATCHER_P(MatchesPattern, pattern, "matches " + ::testing::PrintToString(pattern)) {
    return std::regex_match(arg, std::regex(std::string(pattern)));
}

}  // namespace test
