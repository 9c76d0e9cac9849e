#pragma once

#include "host/standalone/FileTokenStore.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>

namespace tool {

/// How long a user has for the sign-in, as the library has it.
constexpr std::chrono::seconds signInLimit{90};

/// Notes in a file when a sign-in page was opened, until somebody answers it: what asks for a token
/// again and again is not to open a page each time. Set before the page opens, so that it counts
/// also for those who ask meanwhile, and where who opened the page is killed.
class SignInMark {
public:
    using Clock = std::chrono::system_clock;

    /// Behind the time for the sign-in, no page opens unasked.
    static constexpr std::chrono::minutes pause{5};

    /// Without a file nothing is noted.
    explicit SignInMark(const std::filesystem::path& file);

    // These two throw TokenStoreError.

    /// When pages may open unasked again; none where they may now.
    std::optional<Clock::time_point> pausedUntil() const;
    void set();

    /// The page for which it was set here, if it was, needs it no more.
    void answered() noexcept;
    void remove() noexcept;

private:
    const std::unique_ptr<standalone::SecretFile> m_file;
    bool m_isOurs = false;
};

}  // namespace tool
