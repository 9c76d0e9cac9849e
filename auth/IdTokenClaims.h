#pragma once

#include "host/CString.h"
#include "platform/Export.h"

#include <map>
#include <optional>
#include <string>

namespace auth {

/// The claims of an ID token: a provider's statements about a user (OpenID Connect Core 1.0,
/// sections 2 and 5.1), in UTF-8. A value, which shares nothing with the token.
///
/// The claims are as the provider wrote them. A token is validated when it is received; a stored
/// one is not validated again. Only the issuer and the subject together identify a user
/// permanently: names and e-mail addresses change, and users may be free to choose them. Escape
/// claims before you show them on a terminal or in a page.
///
/// \ingroup token
class OIDCAUTH_API IdTokenClaims {
public:
    /// No claims.
    IdTokenClaims() = default;
    /// The claims of this token, whose signature is not checked; none if it is not a JWT.
    explicit IdTokenClaims(const CString& idToken) noexcept;

    /// \name Usual claims
    /// None if the token lacks the claim, or its value is not a text.
    /// \{

    /// The claim `sub`: the user's identifier at this issuer, never given to another user.
    std::optional<std::string> subject() const { return text("sub"); }
    /// The claim `name`: the full name, for display.
    std::optional<std::string> name() const { return text("name"); }
    /// The claim `preferred_username`.
    std::optional<std::string> preferredUsername() const { return text("preferred_username"); }
    /// The claim `email`.
    std::optional<std::string> email() const { return text("email"); }
    /// \}

    /// Any claim by its name: a text as it is, any other value as JSON. None if the claim is
    /// missing, null or not UTF-8.
    std::optional<std::string> claim(const std::string& name) const;

private:
    struct Value {
        bool isText;
        std::string text;
    };

    std::optional<std::string> text(const char* name) const;

    std::map<std::string, Value> m_values;
};

}  // namespace auth
