#pragma once

#include "auth/COIDCAuthCodeListener.h"

#include <optional>
#include <string>

namespace fuzz {

/// The content type with which browsers post a form.
constexpr const char* formType = "application/x-www-form-urlencoded";

/// A listener whose outcome is awaited.
class SignIn {
public:
    using Code = auth::COIDCAuthCodeListener::OIDCAuthCode;

    explicit SignIn(const CString& redirectUrl);
    ~SignIn();
    SignIn(const SignIn&) = delete;
    SignIn& operator=(const SignIn&) = delete;

    /// Closes the listener. What it received, or nothing when its request was rejected or none
    /// came. It is a finding when the wait goes on.
    std::optional<Code> end();

private:
    std::optional<auth::COIDCAuthCodeListener> m_listener;
    Concurrency::task<Code> m_received;
};

/// Whether this is what a form of that type says, read a second time.
bool isOf(const std::string& form, const std::optional<SignIn::Code>& received);

}  // namespace fuzz
