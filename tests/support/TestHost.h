#pragma once

#include <chrono>

namespace test {

/// While it lives, the host gives this time-out for HTTP exchanges.
class HttpTimeout {
public:
    explicit HttpTimeout(std::chrono::milliseconds limit);
    ~HttpTimeout();
    HttpTimeout(const HttpTimeout&) = delete;
    HttpTimeout& operator=(const HttpTimeout&) = delete;
};

}  // namespace test
