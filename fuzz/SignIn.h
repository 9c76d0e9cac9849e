#pragma once

#include "auth/COIDCAuthCodeListener.h"

#include <optional>
#include <string>

namespace fuzz {

/// The content type with which browsers post a form.
constexpr const char* formType = "application/x-www-form-urlencoded";

/// A listener with the task of its outcome.
class SignIn {
public:
    using Code = auth::COIDCAuthCodeListener::OIDCAuthCode;

    explicit SignIn(const CString& redirectUrl);
    ~SignIn();
    SignIn(const SignIn&) = delete;
    SignIn& operator=(const SignIn&) = delete;

    /// Closes the listener. Returns the received code, or nothing if its request was rejected or
    /// there was none. If the wait does not end, that is a finding.
    std::optional<Code> end();

private:
    std::optional<auth::COIDCAuthCodeListener> m_listener;
    Concurrency::task<Code> m_received;
};

/// Whether the code is the one in a form of that type, parsed a second time.
bool isOf(const std::string& form, const std::optional<SignIn::Code>& received);

}  // namespace fuzz
