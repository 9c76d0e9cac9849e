#include "tests/support/Application.h"
#include "tests/support/HttpClient.h"
#include "tests/support/TestHost.h"
#include "tests/support/Usage.h"
#include "tests/support/Wide.h"

// Every kind of request that the library makes meets every fault. Afterwards the request must have
// ended in time, the stored token must be unchanged, both permits free, and no thread or descriptor
// left over. AuthCodeListenerTest and HybridFlowTest do the same for the browser's requests.

namespace {

using namespace test;
using namespace std::string_literals;

/// The requests for which a fault is worth its time.
enum Where : unsigned {
    Nowhere = 0,
    Service = 1U << 0U,
    Configuration = 1U << 1U,
    Keys = 1U << 2U,
    Code = 1U << 3U,  // half a second each: few of its faults differ from those of a refresh
    Refresh = 1U << 4U,
    Quick = Service | Configuration | Keys | Refresh,
    Everywhere = Quick | Code,
};

/// One of the requests of a service, a sign-in or a refresh.
struct Asked {
    Where where;
    Endpoint endpoint;
    const char* address;     // the member of the configuration with its URL
    const char* nulRefusal;  // the message if a text of the answer has a NUL, which JSON allows
    std::uint64_t limitKiB = 256;  // of the answer

    /// A token request is not repeated on the connection that follows the kept one.
    bool atMostOnce() const { return endpoint == Endpoint::Token; }
};

/// The text of this fault depends on the request.
const std::string nulRefusal = "(NUL)";
const std::string success = "accepted";

class FaultMatrix : public Applications {
protected:
    void endEachFault(const Asked& asked);

    void prepare(Where where) {
        provider.reset();
        configUrl = provider.configUrl();
        content->bytes.clear();
        if (where == Refresh) {
            auto record = recordWith({"openid"}, -1h);
            record.refreshToken = provider.issueRefreshToken("client");
            content->bytes = record.bytes();
        }
        clock.freezeAt(start);
        isDiverted = false;
        log->takeLines();
    }

    /// Returns how the request ends or, for a refresh without a user, how the refresh ends. A
    /// request that does not end is cancelled.
    std::string perform(Where where) {
        const cancellation_token_source source;
        helper->setBrowserOpener(user.opener());
        const auto request =
            where == Service
                ? helper->getAccessTokenClientCredentialsAsync(configUrl, "client", "secret",
                                                               "openid", 0, source.get_token())
                : helper->getAccessTokenHybridAsync(configUrl, "client", "openid", {redirectUrl}, 0,
                                                    source.get_token(), where != Refresh);
        EXPECT_TRUE(eventually([&, now = start]() mutable {
            if (!log->textAt(3).empty()) {
                clock.freezeAt(now += 1s);  // past the pause after a failed refresh
            }
            return request.is_done();
        }));
        source.cancel();
        std::string end = outcome(request);
        if (where != Refresh || end == success) {
            return end;
        }
        EXPECT_EQ(end, "user: unable to refresh token");
        return log->textAt(3);
    }

    /// Does the same and checks that nothing is left behind.
    std::string endWithoutTrace(Where where) {
        const auto stored = content->bytes;
        const auto before = usage().descriptors;
        std::string end = perform(where);
        EXPECT_EQ(content->bytes == stored, end != success);
        EXPECT_TRUE(permitsAreFree());
        EXPECT_TRUE(eventually([&] { return usage().descriptors <= before; }));
        return end;
    }

    TestClock clock;
    std::string configUrl;
    bool isDiverted = false;
};

void FaultMatrix::endEachFault(const Asked& asked) {
    const Endpoint at = asked.endpoint;
    const auto most = asked.limitKiB * 1024;
    TestProvider secure({true, "", ServerCertificate::Valid});
    TestProvider expired({true, "", ServerCertificate::Expired});
    TestProvider otherHost({true, "", ServerCertificate::OtherHost});
    std::optional<HostSettings> host;

    struct Fault {
        std::string name;
        std::function<void()> arrange;
        std::string end;  // a part of the outcome
        unsigned where = Quick;
    };
    // Sends the request to another origin with the same path.
    const auto elsewhere = [&](const std::string& origin) {
        return [&, origin] {
            isDiverted = true;
            const auto url = origin + provider.url(at).substr(provider.issuer().size());
            configUrl = at == Endpoint::Discovery ? url : configUrl;
            provider.setMember(Endpoint::Discovery, asked.address, '"' + url + '"');
        };
    };
    const auto trusting = [&](const TestProvider& authority, const TestProvider& other) {
        return [&] {
            host.emplace(usualTimeout, authority.authorityFile());
            elsewhere(other.issuer())();
        };
    };
    const auto close = [&](CloseAt where, CloseBy by) {
        return [this, at, where, by] { provider.closeConnection(at, where, by); };
    };
    const auto answer = [&](const std::string& headAndBody) {
        return [this, at, headAndBody] {
            provider.garbage(at,
                             "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n" + headAndBody);
        };
    };
    const auto type = [&](const std::string& value) {
        return [this, at, value] { provider.setContentType(at, value); };
    };
    const auto document = [&](const std::string& body) {
        return [this, at, body] { provider.setDocument(at, body); };
    };
    const auto text = [&](const std::string& value) {
        return [&, value] {
            const bool isToken = at == Endpoint::Token;
            at == Endpoint::Keys
                ? provider.setKeyMember(0, "kid", value)
                : provider.setMember(at, isToken ? "access_token" : "issuer", value);
        };
    };
    const auto number = [&](const std::string& value) {
        return [this, at, value] { provider.setMember(at, "expires_in", value); };
    };
    const auto slowly = [&](auto fault) {
        return [&, fault] {
            host.emplace(1s);
            fault();
        };
    };
    const std::string handshake = "Error in SSL handshake";
    const std::string noHead = asked.atMostOnce() ? httpClient.noHeadOfAPost : httpClient.noHead;
    const std::string late = "no complete response in time";
    const std::string tooLarge = "response is too large";
    const std::string notJson = "Syntax error";
    const std::string otherJson = "not an object";

    const auto only = [](bool possible, unsigned where) { return possible ? where : Nowhere; };
    const auto overTls = only(httpClient.takesAuthorities, Quick);
    const auto resets = httpClient.survivesResets;

    const std::string flood(std::size_t{12} << 20U, 'x');
    const std::string endlessHead = "HTTP/1.1 200 OK\r\nX: " + flood;
    const std::vector<Fault> faults = {
        {"connection refused", elsewhere("http://127.0.0.1:1"), httpClient.refused},
        {"no such host", elsewhere("http://" + std::string(64, 'x')), httpClient.unresolved},
        {"expired certificate", trusting(expired, expired), handshake, overTls},
        {"certificate of another host", trusting(otherHost, otherHost), handshake, overTls},
        {"unknown authority", trusting(expired, secure), handshake, overTls},
        {"head without end, over TLS",
         [&] {
             trusting(secure, secure)();
             secure.garbage(at, endlessHead);
         },
         tooLarge, overTls},
        {"no TLS", slowly(elsewhere("https://127.0.0.1:" + std::to_string(provider.port()))), late,
         Configuration},
        {"no answer", slowly([&] { provider.neverAnswer(at); }), late, Service},
        {"slow head", slowly([&] { provider.slowHead(at, 20ms); }), late, Keys},
        {"slow body", slowly([&] { provider.slowBody(at, 20ms); }), late, Refresh},
        {"closed before the head", close(CloseAt::BeforeHead, CloseBy::End), noHead},
        {"reset inside the head", close(CloseAt::InsideHead, CloseBy::Reset), noHead,
         only(resets, Quick)},
        {"reset after the head", close(CloseAt::AfterHead, CloseBy::Reset), httpClient.noBody,
         only(resets, Everywhere)},
        {"cut body", [&] { provider.truncateBody(at, 10); },
         httpClient.tellsOfACutBody ? httpClient.noBody : notJson},
        {"no HTTP", [&] { provider.garbage(at, "SSH-2.0-sshd\r\n\r\n"); }, httpClient.noHttp},
        {"bad length", answer("Content-Length: -1\r\n\r\n{}"), tooLarge},
        {"head without end", [&] { provider.garbage(at, endlessHead); }, tooLarge,
         only(httpClient.boundsHeads, Quick)},
        {"large chunk", answer("Transfer-Encoding: chunked\r\n\r\n7FFFFFFF\r\n" + flood), tooLarge},
        {"all that fits", [&] { provider.hugeBody(at, most, Framing::Chunked); }, success},
        {"and announced", [&] { provider.hugeBody(at, most); }, success, Service | Refresh},
        {"a byte more", [&] { provider.hugeBody(at, most + 1, Framing::Chunked); }, tooLarge},
        {"and announced", [&] { provider.hugeBody(at, most + 1); }, tooLarge},
        {"100 MB unannounced",
         [&] { provider.hugeBody(at, 100U << 20U, Framing::EndOfConnection); }, tooLarge},
        {"other type", type("text/html"), "Incorrect Content-Type"},
        {"other charset", type("application/json; charset=utf-16"), notJson},
        {"unknown charset", type("application/json; charset=x"), "Charset must be"},
        {"nothing", document(""), otherJson},
        {"cut JSON", document(R"({"issuer": [1, )"), notJson},
        {"a list", document("[1]"), otherJson},
        {"deep nesting", document(std::string(200'000, '[')), "Nesting too deep"},
        {"raw NUL", document("{\"\0\": 1}"s), notJson},
        {"NUL", text(R"("a\u0000b")"), nulRefusal},
        {"half a surrogate", text(R"("\ud800")"), notJson},
        {"invalid UTF-8", text("\"\xC3(\""),
         at == Endpoint::Keys && !isWide ? nulRefusal : "UTF-8 continuation byte", Everywhere},
        {"number beyond a double", number("1e999"), success, Service | Refresh},
        {"number beyond an integer", number("99999999999"), success, Service | Refresh},
    };
    provider.signingKey();  // created now, so that no request has to wait for it
    prepare(asked.where);
    EXPECT_EQ(perform(asked.where), success);
    const auto usualThreads = usage().threads;
    for (const Fault& fault : faults) {
        if ((fault.where & asked.where) == 0) {
            continue;
        }
        SCOPED_TRACE(fault.name);
        prepare(asked.where);
        fault.arrange();
        const auto before = provider.requests(at).size();
        const std::string end = endWithoutTrace(asked.where);
        const auto received = provider.requests(at).size() - before;
        EXPECT_GE(received, isDiverted ? 0U : 1U);
        EXPECT_LE(received, asked.atMostOnce() ? 1U : 2U);
        EXPECT_THAT(end,
                    ::testing::HasSubstr(fault.end == nulRefusal ? asked.nulRefusal : fault.end));
        host.reset();
    }
    // Idle threads stay for a while; an extra thread for each fault would be too many.
    EXPECT_LE(usage().threads, usualThreads + 15);
}

TEST_F(FaultMatrix, OfAService) {
    endEachFault({Service, Endpoint::Token, "token_endpoint", "accepted"});
}

TEST_F(FaultMatrix, OfTheConfiguration) {
    endEachFault({Configuration, Endpoint::Discovery, "unused",
                  "auth code response validation failed", 512});
}

TEST_F(FaultMatrix, OfTheKeys) {
    endEachFault({Keys, Endpoint::Keys, "jwks_uri", "auth code response validation failed", 512});
}

TEST_F(FaultMatrix, OfACode) {
    endEachFault({Code, Endpoint::Token, "token_endpoint", "accepted"});
}

TEST_F(FaultMatrix, OfARefresh) {
    endEachFault({Refresh, Endpoint::Token, "token_endpoint", "invalid token supplied"});
}

}  // namespace
