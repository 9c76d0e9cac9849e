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
    asked,     ///< if it is needed, in any case
    always,    ///< even if a stored token is valid
};

/// Asks the user to sign in if that is allowed, but not again and again for a program that keeps
/// requesting tokens. Serves one request after the other.
class AskedUser {
public:
    AskedUser(SignIn signIn, bool opensBrowser, const std::filesystem::path& markFile);

    // These throw TokenStoreError.

    /// Whether the request that begins now may ask the user.
    bool mayBeAsked();
    /// Opens the sign-in page. Throws RequiresUserAuthException if another process has opened one
    /// since.
    void bringTo(const CString& url);

    bool wasAsked() const { return m_prompt.wasShown(); }

    // These two report how the request has ended.

    void succeed();
    /// Throws the failure; if the user can do something about it, in the terms of the command line.
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
