#pragma once

#include "testing/TestProvider.h"
#include "tests/support/MemoryStore.h"
#include "tests/support/TokenRecord.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace load {

using namespace auth::testing;
using Random = std::mt19937_64;

inline std::size_t below(std::size_t end, Random& random) {
    return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
}

/// The stored token of a client, for any number of helpers.
struct Account {
    std::string client;
    std::shared_ptr<test::StoreContent> content = std::make_shared<test::StoreContent>();
};

/// A provider. Its faults come and go at random, each for a few answers.
class Site {
public:
    /// Requests that got an answer, by grant type.
    using Grants = std::map<std::string, std::size_t>;

    Site(std::shared_ptr<Grants> grants, std::chrono::seconds tokenLife)
        : m_grants(std::move(grants)) {
        m_provider.setTokenLifetime(tokenLife);
    }
    ~Site() {
        for (const auto& request : m_provider.requests(Endpoint::Token)) {
            ++(*m_grants)[request.field("grant_type")];
        }
    }
    Site(const Site&) = delete;
    Site& operator=(const Site&) = delete;

    CString configUrl() const { return {m_provider.configUrl()}; }

    /// Gives the account a token of this provider that has yet to live for `life`.
    void seed(const Account& account, std::chrono::seconds life) {
        test::TokenRecord record;
        record.clientId = account.client;
        record.scopes = {"openid"};
        record.accessToken =
            m_provider.token(TokenKind::Access, account.client).signedBy(m_provider.signingKey());
        record.refreshToken = m_provider.issueRefreshToken(account.client);
        record.expiresAt = std::chrono::system_clock::now() + life;
        account.content->put(record.bytes());
    }

    void changeFault(Random& random) {
        using Fault = void (*)(TestProvider&, Endpoint);
        static const std::array<Fault, 18> faults{{
            [](auto& site, auto at) { site.reset(at); },
            [](auto& site, auto at) { site.setStatus(at, 503); },
            [](auto& site, auto at) { site.setStatus(at, 400); },
            [](auto& site, auto at) { site.redirect(at, 302, site.url(at)); },
            [](auto& site, auto at) { site.setDocument(at, "[]"); },
            [](auto& site, auto at) { site.garbage(at, "no HTTP\r\n\r\n"); },
            [](auto& site, auto at) { site.truncateBody(at, 20); },
            [](auto& site, auto at) { site.neverAnswer(at); },
            [](auto& site, auto at) { site.closeAfterAnswer(at); },
            [](auto& site, auto at) {
                site.closeConnection(at, CloseAt::BeforeHead, CloseBy::End);
            },
            [](auto& site, auto at) {
                site.closeConnection(at, CloseAt::BeforeHead, CloseBy::Reset);
            },
            [](auto& site, auto at) {
                site.closeConnection(at, CloseAt::InsideHead, CloseBy::Reset);
            },
            [](auto& site, auto at) { site.closeConnection(at, CloseAt::AfterHead, CloseBy::End); },
            [](auto& site, auto at) { site.slowHead(at, std::chrono::milliseconds(1)); },
            [](auto& site, auto at) { site.slowBody(at, std::chrono::milliseconds(1)); },
            [](auto& site, auto at) { site.hugeBody(at, 2U << 20U, Framing::Chunked); },
            [](auto& site, auto /*at*/) { site.setClaim(TokenKind::Access, "client_id", "\"\""); },
            [](auto& site, auto /*at*/) { site.setClaim(TokenKind::AuthorizationId, "exp", "1"); },
        }};
        constexpr std::array endpoints{Endpoint::Discovery, Endpoint::Keys, Endpoint::Token};
        const Endpoint endpoint = endpoints.at(below(endpoints.size(), random));
        m_provider.reset();
        faults.at(below(faults.size(), random))(m_provider, endpoint);
        m_provider.resetAfter(endpoint, static_cast<unsigned>(1 + below(3, random)));
    }

private:
    TestProvider m_provider;
    const std::shared_ptr<Grants> m_grants;
};

}  // namespace load
