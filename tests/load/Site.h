#pragma once

#include "testing/TestProvider.h"
#include "tests/support/Common.h"
#include "tests/support/MemoryStore.h"
#include "tests/support/TokenRecord.h"

namespace load {

using namespace auth::testing;
using namespace std::chrono_literals;

constexpr auto tokenLife = 2s;

/// A client's stored token, shared by any number of helpers.
struct Account {
    std::string client;
    std::shared_ptr<test::StoreContent> content = std::make_shared<test::StoreContent>();
};

inline std::size_t below(std::size_t end) {
    static std::mt19937_64 random{std::random_device()()};
    return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
}

/// A provider. Its faults come and go at random, each for a few answers.
struct Site {
    Site() { provider.setTokenLifetime(tokenLife); }

    /// Stores a token of this provider in the account, with `life` left to live.
    void seed(const Account& account, std::chrono::seconds life = tokenLife) {
        auto record = test::recordWith({"openid"});
        record.clientId = account.client;
        record.accessToken =
            provider.token(TokenKind::Access, account.client).signedBy(provider.signingKey());
        record.refreshToken = provider.issueRefreshToken(account.client);
        record.expiresAt += life;
        account.content->put(record.bytes());
    }

    void changeFault() {
        using Fault = void (*)(TestProvider&, Endpoint);
        static const std::vector<Fault> faults{
            [](auto& p, auto at) { p.reset(at); },
            [](auto& p, auto at) { p.setStatus(at, 503); },
            [](auto& p, auto at) { p.setStatus(at, 400); },
            [](auto& p, auto at) { p.redirect(at, 302, p.url(at)); },
            [](auto& p, auto at) { p.setDocument(at, "[]"); },
            [](auto& p, auto at) { p.garbage(at, "no HTTP\r\n\r\n"); },
            [](auto& p, auto at) { p.truncateBody(at, 20); },
            [](auto& p, auto at) { p.neverAnswer(at); },
            [](auto& p, auto at) { p.closeAfterAnswer(at); },
            [](auto& p, auto at) { p.closeConnection(at, CloseAt::BeforeHead, CloseBy::End); },
            [](auto& p, auto at) { p.closeConnection(at, CloseAt::BeforeHead, CloseBy::Reset); },
            [](auto& p, auto at) { p.closeConnection(at, CloseAt::InsideHead, CloseBy::Reset); },
            [](auto& p, auto at) { p.closeConnection(at, CloseAt::AfterHead, CloseBy::End); },
            [](auto& p, auto at) { p.slowHead(at, std::chrono::milliseconds(1)); },
            [](auto& p, auto at) { p.slowBody(at, std::chrono::milliseconds(1)); },
            [](auto& p, auto at) { p.hugeBody(at, 2U << 20U, Framing::Chunked); },
            [](auto& p, auto) { p.setClaim(TokenKind::Access, "client_id", "\"\""); },
            [](auto& p, auto) { p.setClaim(TokenKind::AuthorizationId, "exp", "1"); },
        };
        constexpr std::array endpoints{Endpoint::Discovery, Endpoint::Keys, Endpoint::Token};
        const Endpoint endpoint = endpoints.at(below(endpoints.size()));
        provider.reset();
        faults.at(below(faults.size()))(provider, endpoint);
        provider.resetAfter(endpoint, static_cast<unsigned>(1 + below(3)));
    }

    TestProvider provider;
};

}  // namespace load
