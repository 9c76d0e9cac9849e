#pragma once

#include "testing/SigningKey.h"

#include <map>
#include <string>

namespace auth::testing {

/// Builds a JWT (RFC 7519), valid or not. A value.
///
/// Header and claims are JSON objects, empty at first; their members are ordered by name. `json` is
/// taken as it is and may be any text, so that a test can build tokens that no provider would
/// issue. A text value needs its quotes: `setClaim("sub", "\"ada\"")`.
///
/// \ingroup testing
class TestToken {
public:
    /// Adds or replaces a member of the header.
    TestToken& setHeader(const std::string& name, const std::string& json);
    /// Removes a member of the header, if present.
    TestToken& removeHeader(const std::string& name);
    /// Adds or replaces a claim.
    TestToken& setClaim(const std::string& name, const std::string& json);
    /// Removes a claim, if present.
    TestToken& removeClaim(const std::string& name);

    /// The token in compact form (RFC 7515), signed with the algorithm in "alg" of the header if
    /// the key supports it; otherwise with the key's default algorithm, RS256 or ES256.
    std::string signedBy(const SigningKey& key) const;
    /// The token in compact form, signed with HS256 and this secret.
    std::string signedByHmac(const std::string& secret) const;
    /// The token in compact form with an empty signature.
    std::string unsecured() const;

private:
    std::string algorithmFor(const SigningKey& key) const;

    std::map<std::string, std::string> m_header;
    std::map<std::string, std::string> m_claims;
};

}  // namespace auth::testing
