#pragma once

#include "host/standalone/FileTokenStore.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>

namespace tool {

/// The time that the library gives the user for a sign-in.
constexpr std::chrono::seconds signInLimit{90};

/// Records in a file that a sign-in page was opened, until somebody answers it: a program that
/// requests tokens again and again must not open a page each time. It is set before the page opens,
/// so that other processes see it meanwhile, and so that it remains if this process is killed.
class SignInMark {
public:
    using Clock = std::chrono::system_clock;

    /// For this long after the time for the sign-in, no page opens unless the user asks for it.
    static constexpr std::chrono::minutes pause{5};

    /// Without a file nothing is recorded.
    explicit SignInMark(const std::filesystem::path& file);

    // These two throw TokenStoreError.

    /// Until when no page may open by itself; empty if one may open now.
    std::optional<Clock::time_point> pausedUntil() const;
    void set();

    /// The page for which this object set the mark, if it did, is done.
    void answered() noexcept;
    void remove() noexcept;

private:
    const std::unique_ptr<standalone::SecretFile> m_file;
    bool m_isOurs = false;
};

}  // namespace tool
