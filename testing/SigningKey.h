#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace auth::testing {

/// A key pair that signs tokens, with the name ("kid") under which it is published. Copies share
/// the pair, which never changes; any thread may use them. Members throw std::runtime_error when
/// OpenSSL fails.
class SigningKey {
public:
    /// Takes some 50 to 300 ms with 2048 bits, so keep one where any will do.
    static SigningKey rsa(const std::string& kid, unsigned bits = 2048);
    /// On the curve P-256. Takes no time worth mentioning.
    static SigningKey ec(const std::string& kid);

    /// The same pair under another name.
    SigningKey withKid(const std::string& kid) const;

    const std::string& kid() const { return m_kid; }
    /// What it signs with unless told otherwise: "RS256" or "ES256".
    std::string algorithm() const;
    /// The public key as SubjectPublicKeyInfo.
    std::string publicPem() const;
    /// A certificate that the key issues itself, valid for a day: DER in Base64 without line
    /// breaks, as an element of "x5c" has it.
    std::string certificate() const;
    /// The members of its JWK, as JSON: kty, use, alg, kid, and n, e or crv, x, y.
    std::map<std::string, std::string> members() const;

    /// Whether sign() knows this algorithm for such a key: RS256 and RS384, or ES256.
    bool signs(const std::string& algorithm) const;
    /// The bytes of the signature (RFC 7518, section 3). Throws std::invalid_argument where signs()
    /// is false.
    std::string sign(const std::string& algorithm, std::string_view data) const;

private:
    struct Pair;
    SigningKey(std::string kid, std::shared_ptr<const Pair> pair);

    std::string m_kid;
    std::shared_ptr<const Pair> m_pair;
};

}  // namespace auth::testing
