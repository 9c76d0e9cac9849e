#pragma once

#include "tests/support/Common.h"

namespace test {

/// Longer than any test has to wait for, unless it says so.
constexpr std::chrono::milliseconds usualTimeout{60'000};

/// What the host gives for HTTP exchanges while this lives: the time-out, and a PEM file with an
/// authority that it trusts, too.
class HostSettings {
public:
    explicit HostSettings(std::chrono::milliseconds limit,
                          const std::filesystem::path& authority = {});
    ~HostSettings();
    HostSettings(const HostSettings&) = delete;
    HostSettings& operator=(const HostSettings&) = delete;
};

}  // namespace test
