#pragma once

#include "platform/Export.h"

#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace auth {

/// A failure that this library finds itself, told so that code can act on it. `what()` is for
/// people, and short; `kind()` is for code. Failures of other kinds, and those of the libraries
/// below, come as exceptions of other types, which of() sorts into the same kinds:
///
///     try {
///         token = helper.getAccessTokenClientCredentials(...);
///     } catch (...) {
///         const auto failure = auth::OIDCError::of(std::current_exception());
///         if (failure.canRetry()) {
///             return later();               // the provider is down, or was not reached
///         }
///         if (failure.providerError() == "invalid_client") {
///             return askForAnotherSecret();
///         }
///         throw;                            // a wrong answer is `Kind::wrongAnswer`
///     }
///
/// | what failed | kind | type of the exception | can a retry help |
/// | --- | --- | --- | --- |
/// | the provider gave another status than 200, or posted an error | providerRefused | OIDCError |
/// with a status of 429 or from 500, or the error `temporarily_unavailable` or `server_error` | |
/// the user, or the provider for them, declined: the error `access_denied` | userDeclined |
/// OIDCError | no | | configuration, keys, an answer or what came to the redirect URL is not what
/// it should be | wrongAnswer | OIDCError | no | | the same, noticed by the HTTP, JSON or JWT
/// library; also a text or URL given that is none | wrongAnswer | web::http::http_exception without
/// error code, web::json::json_exception, web::uri_exception, std::logic_error, std::range_error,
/// std::overflow_error, std::bad_cast, std::runtime_error ("Invalid input...", "invalid json") | no
/// | | an ID or access token is not of this provider, for this client, now | tokenRefused |
/// OIDCError | no, though a key may have been replaced just now | | its signature or its times are
/// wrong | tokenRefused | std::system_error of a category of the JWT library | no | | the provider
/// was not reached, or not in time; TLS failed | notReached | web::http::http_exception with an
/// error code | yes | | nobody signed in in time, or no browser opened | nobodySignedIn | OIDCError
/// | no: ask the user | | only a user can help, and may not be asked | signInNeeded |
/// RequiresUserAuthException; nests why the refresh failed | where the refresh failed by what a
/// retry can help with | | none of the redirect URLs can be listened on | cannotListen | OIDCError
/// | no: give others | | there is no store, or it could not be written | store | OIDCError, or what
/// the store threw, if it is an IStoreFailure | no | | the request was cancelled, or the process
/// ends | cancelled | Concurrency::task_canceled | no | | no permit was given | other | OIDCError |
/// no | | no threads, files or memory; this process was forked; a store, permit, logger, proxy
/// setting or opener threw anything else | other | std::system_error, http_exception,
/// std::bad_alloc, std::runtime_error; theirs | no |
///
/// The provider's words are those of whoever sent the answer, and may repeat what was sent to it, a
/// secret too. They are here only: what() and the log do not have them. They are free of characters
/// that control a terminal or turn the direction of writing, and pass through `standalone::redact`,
/// or the like, on their way to a log.
///
/// It derives from std::runtime_error since some of these failures always came as one.
class OIDCAUTH_API OIDCError : public std::runtime_error {
public:
    enum class Kind {
        providerRefused,
        userDeclined,
        wrongAnswer,
        tokenRefused,
        notReached,
        nobodySignedIn,
        signInNeeded,
        cannotListen,
        store,
        cancelled,
        other,
    };

    /// What is known of a failure; empty where it does not apply.
    struct Details {
        std::optional<unsigned> status = {};
        std::string providerError = {};
        std::string providerErrorDescription = {};
        std::vector<std::string> claims = {};
        std::string missedClaim = {};
    };

    OIDCError(Kind kind, const std::string& text);
    OIDCError(Kind kind, const std::string& text, Details details);
    ~OIDCError() override;
    OIDCError(const OIDCError&) = default;
    OIDCError& operator=(const OIDCError&) = default;

    /// Any failure of this library, and of what it is built on, as one of these. Its `what()` is
    /// the failure's. Never throws, unless there is no memory.
    static OIDCError of(const std::exception_ptr& failure);

    Kind kind() const noexcept;
    /// Whether the same request may succeed later, with nothing changed on this side.
    bool canRetry() const noexcept;

    /// Of the provider's answer, where it was not 200.
    std::optional<unsigned> status() const noexcept;
    /// What the provider said (RFC 6749, sections 4.1.2.1 and 5.2; OpenID Connect Core 1.0, section
    /// 3.1.2.6) in a token endpoint's answer, if that has 8 KiB at most and comes within 2 s, or in
    /// the form of a sign-in. UTF-8, at most 256 characters each, on one line.
    const std::string& providerError() const noexcept;
    const std::string& providerErrorDescription() const noexcept;

    /// Of a refused token: the names of its claims, 64 at most, and that of the one (or of the
    /// member of its header) that was missing or not as it must be. Never a value.
    const std::vector<std::string>& claims() const noexcept;
    const std::string& missedClaim() const noexcept;

private:
    struct Data;

    OIDCError(const std::string& text, std::shared_ptr<const Data> data);

    std::shared_ptr<const Data> m_data;  // shared: a copy does not throw
};

}  // namespace auth
