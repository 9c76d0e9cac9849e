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

/// A URL of the provider.
///
/// \ingroup testing
enum class Endpoint {
    Discovery,  ///< issuer + "/.well-known/openid-configuration"
    Keys,       ///< issuer + "/jwks"
    Token,      ///< issuer + "/token"
    /// issuer + "/authorize". Every user signs in and consents at once.
    ///
    /// The answer to a correct request of the hybrid flow is a page that automatically posts code,
    /// ID token and state to the redirect URI; in a test, TestBrowser.h does that. A correct
    /// request has response type "code id_token", form_post, scope `openid`, PKCE with S256, state
    /// and nonce. Any other gets status 400 and a text that names the parameter.
    Authorization,
};

/// The certificate of a provider with TLS.
///
/// \ingroup testing
enum class ServerCertificate {
    Valid,      ///< for 127.0.0.1 and localhost
    Expired,    ///< expired an hour ago
    OtherHost,  ///< for a host with another name
};

/// Options of a TestProvider.
///
/// \ingroup testing
struct ProviderOptions {
    bool tls = false;  ///< https instead of http
    /// The path of the issuer, after its port: "" or a path such as "/tenant", without a slash at
    /// its end.
    std::string issuerPath;
    ServerCertificate certificate = ServerCertificate::Valid;  ///< unused without TLS
};

/// The JWTs among the tokens in answers.
///
/// \ingroup testing
enum class TokenKind {
    Id,               ///< the ID token of Endpoint::Token
    Access,           ///< the access token of Endpoint::Token
    AuthorizationId,  ///< the ID token of Endpoint::Authorization
};

/// A user's consent, and the request that it answers. The members after `redirectUri` may be left
/// out.
///
/// \ingroup testing
struct CodeGrant {
    std::string clientId;            ///< the only client that can redeem the code
    std::string redirectUri;         ///< must be repeated when the code is redeemed
    std::string codeChallenge = {};  ///< by S256 (RFC 7636); if "", no verifier is needed
    std::string nonce = {};          ///< of the ID token; if "", it has none
    std::string scope = "openid";    ///< separated by spaces
};

/// Where in the answer the connection ends.
///
/// \ingroup testing
enum class CloseAt {
    BeforeHead,  ///< nothing is sent
    InsideHead,  ///< half of the head is sent
    AfterHead,   ///< the head is sent, and nothing of the body
};

/// How the connection ends.
///
/// \ingroup testing
enum class CloseBy {
    End,    ///< an orderly close, as when a server shuts down
    Reset,  ///< as after a crash: the client sees "connection reset"
};

/// How the client learns where a body ends.
///
/// \ingroup testing
enum class Framing {
    ContentLength,    ///< by the header field Content-Length
    Chunked,          ///< by the transfer coding "chunked"
    EndOfConnection,  ///< by the end of the connection
};

/// A body size, in bytes, that no test will ever reach.
///
/// \ingroup testing
constexpr std::uint64_t endlessBody = std::numeric_limits<std::int64_t>::max();

/// An OpenID provider inside the test program, on a free port of 127.0.0.1.
///
/// Each endpoint answers correctly until told otherwise, and every request is recorded. A setting
/// applies to answers that begin after it, until reset(). Faults can be combined. Of those that
/// exclude each other, the first in this order applies: neverAnswer(), garbage(),
/// closeConnection(), truncateBody(). Several threads may call members at once.
///
/// A user declines:
///
///     provider.removeMember(Endpoint::Authorization, "code");
///     provider.setMember(Endpoint::Authorization, "error", "access_denied");
///
/// The provider refuses a client:
///
///     provider.setDocument(Endpoint::Token, R"({"error": "unauthorized_client"})");
///     provider.setStatus(Endpoint::Token, 400);
///
/// \ingroup testing
class TestProvider {
public:
    /// Accepts connections when it returns. Throws std::exception if that is impossible.
    explicit TestProvider(const ProviderOptions& options = {});
    /// Closes all connections at once, whatever they are doing.
    ~TestProvider();
    TestProvider(const TestProvider&) = delete;
    TestProvider& operator=(const TestProvider&) = delete;

    /// \name Addresses
    /// \{

    /// The issuer: http or https, 127.0.0.1, the port, and ProviderOptions::issuerPath.
    std::string issuer() const;
    /// The URL of an endpoint.
    std::string url(Endpoint endpoint) const;
    /// The URL of Endpoint::Discovery, for UserRequest::configUrl and ServiceRequest::configUrl.
    std::string configUrl() const { return url(Endpoint::Discovery); }
    /// The URL of Endpoint::Token.
    std::string tokenEndpoint() const { return url(Endpoint::Token); }
    /// The port on 127.0.0.1.
    unsigned short port() const;
    /// The PEM file with the authority that issued the server's certificate; an empty path without
    /// TLS. The destructor removes the file.
    std::filesystem::path authorityFile() const;
    /// \}

    /// \name Requests received
    /// \{

    /// All requests in the order received, even to unknown paths and malformed ones.
    std::vector<RecordedRequest> requests() const;
    /// The requests to one endpoint, in the order received.
    std::vector<RecordedRequest> requests(Endpoint endpoint) const;
    /// Waits until the endpoint has received `count` requests in all; false after `limit`.
    bool waitForRequests(Endpoint endpoint, std::size_t count,
                         std::chrono::milliseconds limit) const;
    /// The number of connections accepted so far, including those whose TLS handshake failed.
    unsigned connections() const;
    /// Waits until this connection (the first is 1) is closed by the provider or the client; false
    /// after `limit`.
    ///
    /// The provider notices a close by the client while it reads a request, after neverAnswer(), or
    /// when it cannot send an answer, but not during a Hold.
    bool waitForClosed(unsigned connection, std::chrono::milliseconds limit) const;
    /// \}

    /// \name Clients and grants
    /// reset() does not take these settings back.
    /// \{

    /// Sets the lifetime of access tokens, `expires_in` in token answers. The default is an hour.
    ///
    /// The access token in answers to codes and refresh tokens is a JWT. For client credentials it
    /// is a text: "token-", the client, "-" and numbers.
    void setTokenLifetime(std::chrono::seconds lifetime);
    /// From now on, only this client gets tokens, by Basic authentication or form fields. Others
    /// get status 401 and `invalid_client`, and no sign-in. By default, every client is accepted.
    void requireClient(const std::string& id, const std::string& secret);

    /// A code for one request to the token endpoint, which must have the same client and redirect
    /// URI, and the verifier (RFC 7636). A second use is refused with status 400 and
    /// `invalid_grant`; from then on, so are the refresh tokens that the code led to.
    std::string issueCode(const CodeGrant& grant);
    /// A refresh token, like those in the answers to codes. Each answer replaces it with a new one.
    /// Reuse of an old one is refused with status 400 and `invalid_grant`; from then on, so are all
    /// that followed it.
    std::string issueRefreshToken(const std::string& clientId, const std::string& scope = "openid");
    /// \}

    /// \name Keys
    /// These settings belong to Endpoint::Keys.
    /// \{

    /// Publishes these keys, in this order. The first signs. With an empty list, the default key
    /// signs and is not published.
    ///
    /// By default, only the default key is published: RSA with 2048 bits, made on first use, the
    /// same for all providers of the process.
    void setSigningKeys(const std::vector<SigningKey>& keys);
    /// The key that signs.
    SigningKey signingKey() const;
    /// Replaces the key that signs, the first of the published ones, with a new RSA key that has a
    /// new `kid`. The other keys stay published.
    void rotateSigningKey();
    /// Changes a published member of the key at `index`; the first is 0. The key signs as before.
    /// The change lasts until the key is replaced. Throws std::out_of_range if there is no such
    /// key.
    void setKeyMember(std::size_t index, const std::string& name, const std::string& json);
    /// Removes a published member, as setKeyMember() changes one.
    void removeKeyMember(std::size_t index, const std::string& name);
    /// \}

    /// \name Tokens
    /// The setters change the tokens in answers to sign-ins, codes and refresh tokens, as TestToken
    /// does. Each setting belongs to the endpoint of its TokenKind. `json` is sent as it is: a text
    /// needs its quotes.
    /// \{

    /// A correct token for this client, issued now, as answers contain it by default. A test
    /// changes and signs it.
    ///
    /// An ID token is valid for an hour, an access token as long as setTokenLifetime() says. Only
    /// an ID token has a nonce. A TokenKind::AuthorizationId token lacks the `c_hash` (by SHA-256)
    /// that answers have.
    TestToken token(TokenKind kind, const std::string& clientId,
                    const std::string& nonce = "") const;
    /// Adds or replaces a member of the header.
    void setTokenHeader(TokenKind kind, const std::string& name, const std::string& json);
    /// Removes a member of the header.
    void removeTokenHeader(TokenKind kind, const std::string& name);
    /// Adds or replaces a claim.
    void setClaim(TokenKind kind, const std::string& name, const std::string& json);
    /// Removes a claim.
    void removeClaim(TokenKind kind, const std::string& name);
    /// Signs with this key, published or not. The header names its `alg` and `kid`, unless
    /// setTokenHeader() changes them.
    void signWith(TokenKind kind, const SigningKey& key);
    /// Replaces the whole token by this text. Other settings for the token have no effect then.
    void setTokenText(TokenKind kind, const std::string& text);
    /// \}

    /// \name Answers
    /// \{

    /// Adds or replaces a member of the endpoint's successful answers. `value` is JSON, sent as it
    /// is; for Endpoint::Authorization, it is the text of a form field, such as `error`.
    void setMember(Endpoint endpoint, const std::string& name, const std::string& value);
    /// Removes a member, or for Endpoint::Authorization a form field such as `code`.
    void removeMember(Endpoint endpoint, const std::string& name);
    /// Sets the whole body of successful answers, which need not be JSON.
    void setDocument(Endpoint endpoint, const std::string& body);

    /// Sets the status of every answer. Bodies stay as they are; only 1xx, 204 and 304 have none.
    void setStatus(Endpoint endpoint, unsigned status);
    /// Adds or replaces a header field. With an empty value, the field is left out.
    void setHeader(Endpoint endpoint, const std::string& name, const std::string& value);
    /// Sets the header field Content-Type.
    void setContentType(Endpoint endpoint, const std::string& type) {
        setHeader(endpoint, "Content-Type", type);
    }
    /// Sets the status and the header field Location.
    void redirect(Endpoint endpoint, unsigned status, const std::string& location) {
        setStatus(endpoint, status);
        setHeader(endpoint, "Location", location);
    }
    /// \}

    /// \name Faults of the connection
    /// \{

    /// Sends the head byte by byte, with this time in between.
    void slowHead(Endpoint endpoint, std::chrono::milliseconds interval);
    /// Sends the body byte by byte, with this time in between.
    void slowBody(Endpoint endpoint, std::chrono::milliseconds interval);
    /// Reads the request, sends nothing and keeps the connection open.
    void neverAnswer(Endpoint endpoint);
    /// Announces the whole body, sends `bytes` of it and closes the connection.
    void truncateBody(Endpoint endpoint, std::uint64_t bytes);
    /// Closes the connection at this place of the answer.
    void closeConnection(Endpoint endpoint, CloseAt at, CloseBy by = CloseBy::End);
    /// Sends these bytes instead of an answer and closes the connection.
    void garbage(Endpoint endpoint, const std::string& bytes);
    /// Puts blanks before the body until it has `bytes` bytes, so that its meaning stays the same.
    void hugeBody(Endpoint endpoint, std::uint64_t bytes, Framing framing = Framing::ContentLength);
    /// Closes the connection after each answer, without announcing that in the answer.
    void closeAfterAnswer(Endpoint endpoint);
    /// \}

    /// \name Reset and hold
    /// \{

    /// Takes back all settings of this endpoint, faults and contents.
    void reset(Endpoint endpoint);
    /// Takes back all settings of all endpoints.
    void reset();
    /// Resets the endpoint automatically once `answers` more answers, at least 1, have begun.
    void resetAfter(Endpoint endpoint, unsigned answers);

    /// While it exists, the endpoint receives requests but does not answer them. It may outlive the
    /// provider.
    class Hold {
    public:
        /// Answers the waiting requests with the settings of that moment, unless another Hold of
        /// the endpoint exists. The destructor does the same.
        void release() { m_releasing.reset(); }

    private:
        friend class TestProvider;
        using Releasing = std::unique_ptr<void, std::function<void(void*)>>;
        explicit Hold(Releasing releasing) : m_releasing(std::move(releasing)) {}

        Releasing m_releasing;
    };
    /// Holds back the answers of the endpoint until the result is released or destroyed.
    [[nodiscard]] Hold hold(Endpoint endpoint);
    /// \}

private:
    struct State;
    std::shared_ptr<State> m_state;
};

}  // namespace auth::testing
