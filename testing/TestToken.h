#pragma once

#include "testing/SigningKey.h"

#include <map>
#include <string>

namespace auth::testing {

/// A JWT in the making. Header and claims are objects whose members appear in the order of their
/// names; at first both are empty. What is set is taken as it is, so that also tokens come about
/// that no provider would issue: `json` may be any text.
class TestToken {
public:
    TestToken& setHeader(const std::string& name, const std::string& json);
    TestToken& removeHeader(const std::string& name);
    TestToken& setClaim(const std::string& name, const std::string& json);
    TestToken& removeClaim(const std::string& name);

    /// The token in compact form (RFC 7515), signed by the "alg" of the header if the key can do
    /// that. Otherwise, whatever the header says or lacks, by RS256 or ES256 as the key demands.
    std::string signedBy(const SigningKey& key) const;
    /// The same with the signature that HS256 makes of this secret.
    std::string signedByHmac(const std::string& secret) const;
    /// The same with nothing behind the second dot.
    std::string unsecured() const;

private:
    std::string algorithmFor(const SigningKey& key) const;

    std::map<std::string, std::string> m_header;
    std::map<std::string, std::string> m_claims;
};

}  // namespace auth::testing
