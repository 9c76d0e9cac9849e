#pragma once

#include "testing/RecordedRequest.h"
#include "testing/SigningKey.h"
#include "testing/TestToken.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace auth::testing {

enum class Endpoint {
    Discovery,  ///< issuer + "/.well-known/openid-configuration"
    Keys,       ///< issuer + "/jwks"
    Token,      ///< issuer + "/token"
    /// issuer + "/authorize". Every user signs in and consents at once: a correct request of the
    /// hybrid flow (response type "code id_token", form_post, PKCE with S256, state and nonce) gets
    /// a page that posts code, ID token and state to the redirect URI by itself; TestBrowser.h does
    /// that in a test. Any other gets status 400 and a text that names the parameter.
    Authorization,
};

enum class ServerCertificate {
    Valid,      ///< for 127.0.0.1 and localhost
    Expired,    ///< an hour ago
    OtherHost,  ///< for a host with another name
};

struct ProviderOptions {
    bool tls = false;
    /// What the issuer has after the port: "" or a path such as "/tenant", without a slash at the
    /// end.
    std::string issuerPath;
    ServerCertificate certificate = ServerCertificate::Valid;
};

/// The tokens of an answer that are JWTs.
enum class TokenKind {
    Id,
    Access,
    AuthorizationId,  ///< the ID token of Endpoint::Authorization, the others are of
                      ///< Endpoint::Token
};

/// What a user has consented to, and what came with the request for it; all behind the redirect
/// URI can be left out.
struct CodeGrant {
    std::string clientId;
    std::string redirectUri;
    std::string codeChallenge = {};  ///< by S256; with "" no verifier is asked for
    std::string nonce = {};          ///< of the ID token; with "" it has none
    std::string scope = "openid";
};

/// Where in the answer the connection ends.
enum class CloseAt { BeforeHead, InsideHead, AfterHead };
enum class CloseBy {
    End,    ///< as a server does that shuts down
    Reset,  ///< as after a crash: the client sees "connection reset"
};

/// How the client learns where a body ends.
enum class Framing { ContentLength, Chunked, EndOfConnection };

/// A body size that no test lives to see the end of.
constexpr std::uint64_t endlessBody = std::numeric_limits<std::int64_t>::max();

/// An OpenID provider inside the test program, on a free port of 127.0.0.1. It answers correctly
/// until told otherwise, endpoint by endpoint, and keeps every request.
///
/// What is set holds for answers that begin afterwards, until reset(). Faults can be combined; of
/// those that exclude each other the first of neverAnswer, garbage, closeConnection, truncateBody
/// counts. Members may be called from several threads at once. The destructor closes all
/// connections at once, whatever they are doing.
class TestProvider {
public:
    /// Accepts connections when it returns. Throws std::exception if that is impossible.
    explicit TestProvider(const ProviderOptions& options = {});
    ~TestProvider();
    TestProvider(const TestProvider&) = delete;
    TestProvider& operator=(const TestProvider&) = delete;

    std::string issuer() const;
    std::string url(Endpoint endpoint) const;
    std::string configUrl() const { return url(Endpoint::Discovery); }
    std::string tokenEndpoint() const { return url(Endpoint::Token); }
    unsigned short port() const;
    /// PEM file with the authority that issued the server's certificate, empty path without TLS. It
    /// goes with the provider.
    std::filesystem::path authorityFile() const;

    /// Everything received, in order, also for unknown paths and malformed.
    std::vector<RecordedRequest> requests() const;
    std::vector<RecordedRequest> requests(Endpoint endpoint) const;
    /// Waits until the endpoint has received `count` requests in all, false if `limit` passes.
    bool waitForRequests(Endpoint endpoint, std::size_t count,
                         std::chrono::milliseconds limit) const;
    /// Connections accepted so far, those whose TLS handshake failed included.
    unsigned connections() const;
    /// Waits until the connection of that ordinal is closed, by the provider or by the client;
    /// false if `limit` passes. That the client closed is noticed while a request is read or never
    /// answered, or when an answer cannot be sent, but not during a Hold.
    bool waitForClosed(unsigned connection, std::chrono::milliseconds limit) const;

    /// `expires_in` of token answers, an hour at first. What answers to codes and refresh tokens
    /// carry is a JWT; for client credentials it is a text: "token-", the client, "-" and numbers.
    void setTokenLifetime(std::chrono::seconds lifetime);
    /// From now on only this client gets tokens, by Basic authentication or form fields; others get
    /// status 401 and `invalid_client`, and no sign-in. At first every client is accepted.
    void requireClient(const std::string& id, const std::string& secret);

    /// A code that is good for one request to the token endpoint, which has to bring the same
    /// client and redirect URI and the verifier (RFC 7636). Using it again is refused with status
    /// 400 and `invalid_grant`, and so are from then on the refresh tokens that it led to.
    std::string issueCode(const CodeGrant& grant);
    /// A refresh token as it comes with a code. Each answer replaces it by a new one. Using an old
    /// one again is refused in the same way, and so are then all that followed it.
    std::string issueRefreshToken(const std::string& clientId, const std::string& scope = "openid");

    /// Publishes these keys at the keys endpoint, in that order. The first signs; with an empty
    /// list the default key does, unpublished. At first the default key alone is published: RSA
    /// with 2048 bits, made on first use, the same for all providers of a process.
    void setSigningKeys(const std::vector<SigningKey>& keys);
    SigningKey signingKey() const;
    /// A fresh RSA key with a `kid` of its own takes the place of the key that signs, and is
    /// published first.
    void rotateSigningKey();
    /// Changes what is published of the key at that place, the first is 0; it signs as before.
    /// Lasts until the key goes. Throws std::out_of_range if there is none.
    void setKeyMember(std::size_t index, const std::string& name, const std::string& json);
    void removeKeyMember(std::size_t index, const std::string& name);

    /// A correct token for this client, issued now, as answers carry it while nothing else is set;
    /// to be changed and signed by the test. An ID token holds for an hour, an access token as long
    /// as setTokenLifetime() says; only an ID token has a nonce. One of a sign-in comes without the
    /// `c_hash` that answers have for SHA-256.
    TestToken token(TokenKind kind, const std::string& clientId,
                    const std::string& nonce = "") const;
    /// Change the tokens in the answers to sign-ins, codes and refresh tokens, as TestToken does.
    /// They belong to the endpoint that TokenKind says, and the keys above to Endpoint::Keys.
    void setTokenHeader(TokenKind kind, const std::string& name, const std::string& json);
    void removeTokenHeader(TokenKind kind, const std::string& name);
    void setClaim(TokenKind kind, const std::string& name, const std::string& json);
    void removeClaim(TokenKind kind, const std::string& name);
    /// The header names `alg` and `kid` of this key, published or not, unless changed above.
    void signWith(TokenKind kind, const SigningKey& key);
    /// Stands in place of the token, whatever else is set for it.
    void setTokenText(TokenKind kind, const std::string& text);

    /// Replaces or adds a member of the endpoint's successful answers: JSON that is sent as it is,
    /// or for Endpoint::Authorization the text of a form field, such as `error`.
    void setMember(Endpoint endpoint, const std::string& name, const std::string& value);
    void removeMember(Endpoint endpoint, const std::string& name);
    /// The whole body of successful answers, which need not be JSON.
    void setDocument(Endpoint endpoint, const std::string& body);

    /// The status of every answer; bodies stay as they are.
    void setStatus(Endpoint endpoint, unsigned status);
    /// Replaces or adds a header field; with an empty value the field is left out.
    void setHeader(Endpoint endpoint, const std::string& name, const std::string& value);
    void setContentType(Endpoint endpoint, const std::string& type) {
        setHeader(endpoint, "Content-Type", type);
    }
    void redirect(Endpoint endpoint, unsigned status, const std::string& location) {
        setStatus(endpoint, status);
        setHeader(endpoint, "Location", location);
    }

    /// Sends byte by byte with this time in between.
    void slowHead(Endpoint endpoint, std::chrono::milliseconds interval);
    void slowBody(Endpoint endpoint, std::chrono::milliseconds interval);
    /// Reads the request and keeps the connection open without a word.
    void neverAnswer(Endpoint endpoint);
    /// Announces the whole body, sends `bytes` of it and closes the connection.
    void truncateBody(Endpoint endpoint, std::uint64_t bytes);
    void closeConnection(Endpoint endpoint, CloseAt at, CloseBy by = CloseBy::End);
    /// Sends these bytes in place of an answer and closes the connection.
    void garbage(Endpoint endpoint, const std::string& bytes);
    /// Fills the body with blanks in front to `bytes` in all, so that it means the same.
    void hugeBody(Endpoint endpoint, std::uint64_t bytes, Framing framing = Framing::ContentLength);
    /// Closes the connection after an answer that does not say so.
    void closeAfterAnswer(Endpoint endpoint);

    /// Takes back everything set for this endpoint, faults and contents.
    void reset(Endpoint endpoint);
    void reset();
    /// Does that by itself once `answers` more answers, at least 1, have begun.
    void resetAfter(Endpoint endpoint, unsigned answers);

    /// While it lives, the endpoint receives requests but does not answer them. May outlive the
    /// provider.
    class Hold {
    public:
        /// Answers what waits, as set then, unless another Hold keeps it.
        void release() { m_releasing.reset(); }

    private:
        friend class TestProvider;
        using Releasing = std::unique_ptr<void, std::function<void(void*)>>;
        explicit Hold(Releasing releasing) : m_releasing(std::move(releasing)) {}

        Releasing m_releasing;
    };
    [[nodiscard]] Hold hold(Endpoint endpoint);

private:
    struct State;
    std::shared_ptr<State> m_state;
};

}  // namespace auth::testing
