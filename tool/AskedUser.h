#pragma once

#include "tool/Prompt.h"
#include "tool/SignInMark.h"

#include <cstdint>
#include <exception>
#include <filesystem>
#include <optional>

namespace tool {

enum class SignIn : std::uint8_t {
    never,
    ifNeeded,  ///< unless nobody answered the page that was opened last
    asked,     ///< where it is needed, in any case
    always,    ///< also where a stored token serves
};

/// The user, who is asked to sign in where that is allowed, and not again and again by what keeps
/// asking. Serves one request after the other.
class AskedUser {
public:
    AskedUser(SignIn signIn, bool opensBrowser, const std::filesystem::path& markFile);

    // These throw TokenStoreError.

    /// Whether the request that begins now may ask.
    bool mayBeAsked();
    /// Opens the sign-in page. Throws RequiresUserAuthException where another process has opened
    /// one since.
    void bringTo(const CString& url);

    bool wasAsked() const { return m_prompt.wasShown(); }

    // How the request has ended.

    void succeed();
    /// Throws the failure, in the terms of the command line where the user can do something.
    [[noreturn]] void fail(const std::exception_ptr& failure);

private:
    using Pause = std::optional<SignInMark::Clock::time_point>;

    Pause pausedUntil() const;

    const SignIn m_signIn;
    Prompt m_prompt;
    SignInMark m_mark;
    Pause m_pausedAtFirst;
};

}  // namespace tool
