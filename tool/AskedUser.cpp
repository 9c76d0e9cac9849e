#include "tool/AskedUser.h"

#include "auth/COIDCHelper.h"
#include "auth/OIDCError.h"
#include "tool/ExitCode.h"
#include "tool/Interrupt.h"
#include "tool/Output.h"

#include <chrono>
#include <stdexcept>
#include <string>

namespace tool {

namespace {

using auth::OIDCError;
using auth::RequiresUserAuthException;

/// For the user of a program that requests tokens again and again.
RequiresUserAuthException tooEarly(SignInMark::Clock::time_point endOfPause) {
    return RequiresUserAuthException(
        "nobody has answered the last sign-in page, and --sign-in opens no other one before " +
        timestamp(std::chrono::floor<std::chrono::seconds>(endOfPause)));
}

/// Whether a sign-in that failed like this had a user: somebody who cancels it is there.
bool wasAnswered(const std::exception_ptr& failure) {
    const OIDCError::Kind kind = OIDCError::of(failure).kind();
    return kind != OIDCError::Kind::nobodySignedIn &&
           (kind != OIDCError::Kind::cancelled || !Signals::wasTermination());
}

}  // namespace

AskedUser::AskedUser(SignIn signIn, bool opensBrowser, const std::filesystem::path& markFile)
    : m_signIn(signIn), m_prompt(opensBrowser), m_mark(markFile) {}

AskedUser::Pause AskedUser::pausedUntil() const {
    return m_signIn == SignIn::ifNeeded ? m_mark.pausedUntil() : std::nullopt;
}

bool AskedUser::mayBeAsked() {
    m_pausedAtFirst = pausedUntil();
    return m_signIn != SignIn::never && !m_pausedAtFirst;
}

void AskedUser::bringTo(const CString& url) {
    // If several processes ask at once, those that have given up waiting for the others get here.
    if (const auto end = pausedUntil()) {
        throw tooEarly(*end);
    }
    m_mark.set();
    m_prompt.show(url);
}

void AskedUser::succeed() {
    m_mark.answered();
}

void AskedUser::fail(const std::exception_ptr& failure) {
    if (wasAnswered(failure)) {
        m_mark.answered();
    }
    try {
        std::rethrow_exception(failure);
    } catch (const RequiresUserAuthException&) {
        if (m_pausedAtFirst) {
            std::throw_with_nested(tooEarly(*m_pausedAtFirst));
        }
        throw;
    } catch (const std::invalid_argument& error) {
        // The exceptions of a refused token have another kind.
        if (OIDCError::of(failure).kind() == OIDCError::Kind::other) {
            throw UsageError(std::string("--authorization-parameter: ") + error.what());
        }
        throw;
    }
}

}  // namespace tool
