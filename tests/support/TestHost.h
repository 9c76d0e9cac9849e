#pragma once

#include "tests/support/Common.h"

namespace test {

/// Longer than any wait of a test, unless the test sets another one.
constexpr std::chrono::milliseconds usualTimeout{60'000};

/// While it exists, sets the host's settings for HTTP exchanges: the time-out, and a PEM file with
/// an additional authority.
class HostSettings {
public:
    explicit HostSettings(std::chrono::milliseconds limit,
                          const std::filesystem::path& authority = {});
    ~HostSettings();
    HostSettings(const HostSettings&) = delete;
    HostSettings& operator=(const HostSettings&) = delete;
};

}  // namespace test
