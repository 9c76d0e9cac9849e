#include "auth/COIDCAuthHybrid.h"
#include "testing/TestProvider.h"
#include "testing/TestToken.h"
#include "testing/detail/OpenSsl.h"
#include "tests/support/HybridFlow.h"

#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <picojson.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

using auth::testing::TestProvider;
using auth::testing::TokenKind;
using auth::testing::detail::Bio;
using auth::testing::detail::DigestContext;
using auth::testing::detail::Key;

const char* const clientId = "bench-client";

struct Fixture {
    TestProvider provider;
    std::unique_ptr<auth::COIDCAuthHybrid> flow = test::hybridFlow(provider);
    std::string text = provider.token(TokenKind::Id, clientId).signedBy(provider.signingKey());
};

void validate(const auth::COIDCAuthHybrid& flow, const CString& text) {
    const auto token = auth::detail::decodeJwt(text);
    if (!flow.validateJwt(token) || !flow.validateIdTokenClaims(token, clientId, {})) {
        throw std::runtime_error("the token is refused");
    }
}

void knownKey(benchmark::State& state) {
    const Fixture fixture;
    const CString text(fixture.text);
    validate(*fixture.flow, text);
    while (state.KeepRunning()) {
        validate(*fixture.flow, text);
    }
}

/// A protocol object that has not used the key yet.
void newKey(benchmark::State& state) {
    const Fixture fixture;
    const CString text(fixture.text);
    while (state.KeepRunning()) {
        state.PauseTiming();
        const auto flow = test::hybridFlow(fixture.provider);
        state.ResumeTiming();
        validate(*flow, text);
    }
}

Key publicKey(const std::string& pem) {
    const Bio text(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    return Key(PEM_read_bio_PUBKEY(text.get(), nullptr, nullptr, nullptr));
}

/// Decodes base64url with OpenSSL, which only supports the other alphabet and whole groups.
std::string decoded(std::string_view text) {
    std::string base64(text);
    for (char& character : base64) {
        character = character == '-' ? '+' : character == '_' ? '/' : character;
    }
    const std::size_t fill = (4 - base64.size() % 4) % 4;
    base64.append(fill, '=');
    std::string bytes(base64.size() / 4 * 3, '\0');
    EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                    reinterpret_cast<const unsigned char*>(base64.data()),
                    static_cast<int>(base64.size()));
    bytes.resize(bytes.size() - fill);
    return bytes;
}

picojson::value parsed(std::string_view text) {
    picojson::value result;
    picojson::parse(result, decoded(text));
    return result;
}

void knownKeyFloor(benchmark::State& state) {
    const Fixture fixture;
    const std::string_view text(fixture.text);
    const Key key = publicKey(fixture.provider.signingKey().publicPem());
    while (state.KeepRunning()) {
        const auto first = text.find('.');
        const auto second = text.find('.', first + 1);
        benchmark::DoNotOptimize(parsed(text.substr(0, first)));
        benchmark::DoNotOptimize(parsed(text.substr(first + 1, second - first - 1)));
        const std::string signature = decoded(text.substr(second + 1));
        const DigestContext digest(EVP_MD_CTX_new());
        EVP_DigestVerifyInit(digest.get(), nullptr, EVP_sha256(), nullptr, key.get());
        if (EVP_DigestVerify(digest.get(), reinterpret_cast<const unsigned char*>(signature.data()),
                             signature.size(), reinterpret_cast<const unsigned char*>(text.data()),
                             second) != 1) {
            throw std::runtime_error("the floor refuses the token");
        }
    }
}

}  // namespace

BENCHMARK(knownKey)->Name("token with a known key");
BENCHMARK(knownKeyFloor)->Name("token with a known key: OpenSSL and decoding");
BENCHMARK(newKey)->Name("token with a new key");
