#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace auth::testing {

/// A key pair that signs tokens, with the name ("kid") under which it is published.
///
/// Copies share the pair, which never changes; any thread may use them. Members throw
/// std::runtime_error if OpenSSL fails.
///
/// \ingroup testing
class SigningKey {
public:
    /// A new RSA key. With 2048 bits this takes about 50 to 300 ms: reuse a key if any will do.
    static SigningKey rsa(const std::string& kid, unsigned bits = 2048);
    /// A new key on the curve P-256. This takes hardly any time.
    static SigningKey ec(const std::string& kid);

    /// The same pair under another name.
    SigningKey withKid(const std::string& kid) const;

    /// The name under which the key is published.
    const std::string& kid() const { return m_kid; }
    /// The default algorithm: "RS256" for RSA, "ES256" for P-256 (RFC 7518, section 3.1).
    std::string algorithm() const;
    /// The public key as SubjectPublicKeyInfo.
    std::string publicPem() const;
    /// A self-signed certificate of the key, valid for a day: DER in Base64 without line breaks,
    /// the form of an element of "x5c" (RFC 7517, section 4.7).
    std::string certificate() const;
    /// The members of its JWK (RFC 7517) as JSON: kty, use, alg, kid, and n, e or crv, x, y.
    std::map<std::string, std::string> members() const;

    /// Whether sign() supports this algorithm for the key: RS256 and RS384 for RSA, ES256 for
    /// P-256.
    bool signs(const std::string& algorithm) const;
    /// The bytes of the signature (RFC 7518, section 3). Throws std::invalid_argument if signs() is
    /// false.
    std::string sign(const std::string& algorithm, std::string_view data) const;

private:
    struct Pair;
    SigningKey(std::string kid, std::shared_ptr<const Pair> pair);

    std::string m_kid;
    std::shared_ptr<const Pair> m_pair;
};

}  // namespace auth::testing
