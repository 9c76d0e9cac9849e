#pragma once

#include <chrono>
#include <filesystem>

namespace test {

/// While it lives, the host gives this time-out for HTTP exchanges.
class HttpTimeout {
public:
    explicit HttpTimeout(std::chrono::milliseconds limit);
    ~HttpTimeout();
    HttpTimeout(const HttpTimeout&) = delete;
    HttpTimeout& operator=(const HttpTimeout&) = delete;
};

/// While it lives, the host trusts also the authority in this PEM file.
class TrustedAuthority {
public:
    explicit TrustedAuthority(const std::filesystem::path& file);
    ~TrustedAuthority();
    TrustedAuthority(const TrustedAuthority&) = delete;
    TrustedAuthority& operator=(const TrustedAuthority&) = delete;
};

}  // namespace test
