#include "testing/TestToken.h"

#include "testing/detail/OpenSsl.h"
#include "testing/detail/Text.h"

#include <openssl/hmac.h>

#include <array>

namespace auth::testing {

TestToken& TestToken::setHeader(const std::string& name, const std::string& json) {
    m_header[name] = json;
    return *this;
}

TestToken& TestToken::removeHeader(const std::string& name) {
    m_header.erase(name);
    return *this;
}

TestToken& TestToken::setClaim(const std::string& name, const std::string& json) {
    m_claims[name] = json;
    return *this;
}

TestToken& TestToken::removeClaim(const std::string& name) {
    m_claims.erase(name);
    return *this;
}

std::string TestToken::algorithmFor(const SigningKey& key) const {
    const auto found = m_header.find("alg");
    const auto json = found == m_header.end() ? "" : found->second;
    const auto name = json.size() > 1 ? json.substr(1, json.size() - 2) : "";
    return json == detail::quoted(name) && key.signs(name) ? name : key.algorithm();
}

std::string TestToken::signedBy(const SigningKey& key) const {
    const auto token = unsecured();
    const auto signingInput = std::string_view(token).substr(0, token.size() - 1);
    return token + detail::base64url(key.sign(algorithmFor(key), signingInput));
}

std::string TestToken::signedByHmac(const std::string& secret) const {
    const auto token = unsecured();
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    detail::check(HMAC(EVP_sha256(), secret.data(), static_cast<int>(secret.size()),
                       reinterpret_cast<const unsigned char*>(token.data()), token.size() - 1,
                       digest.data(), &size) != nullptr);
    return token + detail::base64url({reinterpret_cast<const char*>(digest.data()), size});
}

std::string TestToken::unsecured() const {
    return detail::base64url(detail::object(m_header)) + '.' +
           detail::base64url(detail::object(m_claims)) + '.';
}

}  // namespace auth::testing
