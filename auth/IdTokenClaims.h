#pragma once

#include "host/CString.h"
#include "platform/Export.h"

#include <map>
#include <optional>
#include <string>

namespace auth {

/// What a provider says about a user (OpenID Connect Core 1.0, sections 2 and 5.1): the claims of
/// an ID token, in UTF-8. A value of its own, which shares nothing with the token.
///
/// They are as the provider wrote them. A token that comes from a request was validated when it was
/// received, one that was stored is believed. Only issuer and subject together name a user for
/// good: names and e-mail addresses change, and may be the user's own choice. Whoever shows them on
/// a terminal, or in a page, escapes them first.
class OIDCAUTH_API IdTokenClaims {
public:
    IdTokenClaims() = default;
    /// Of a text that is no JWT there are none. Never throws.
    explicit IdTokenClaims(const CString& idToken) noexcept;

    // None where the token has no such claim, or one that is no text.

    std::optional<std::string> subject() const { return text("sub"); }
    std::optional<std::string> name() const { return text("name"); }
    std::optional<std::string> preferredUsername() const { return text("preferred_username"); }
    std::optional<std::string> email() const { return text("email"); }

    /// Any claim by its name: a text as it is, any other value as its JSON text. None where it is
    /// missing, null, or not UTF-8.
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
