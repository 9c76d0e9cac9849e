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
/// By kind, what comes as which type, and whether a retry can help:
///
///     providerRefused   OIDCError; with a status of 429 or from 500, and the errors
///                       temporarily_unavailable and server_error: yes
///     userDeclined      OIDCError; no
///     wrongAnswer       OIDCError; what the HTTP library understood and refuses, an http_exception
///                       without error code; json_exception; uri_exception; of the JWT library and
///                       of text that is no UTF-8: std::logic_error, std::range_error,
///                       std::overflow_error, std::bad_cast, std::runtime_error "Invalid input..."
///                       and "invalid json". A text or URL of the caller that is none comes as one
///                       of these, too; no
///     tokenRefused      OIDCError; for signature and times std::system_error of a category of the
///                       JWT library; no, though a key may have been replaced just now
///     notReached        http_exception with an error code; yes
///     nobodySignedIn    OIDCError; no, but the user may be asked again
///     signInNeeded      RequiresUserAuthException, which nests the failure of a refresh; as for
///                       that one, else no
///     cannotListen      OIDCError; no
///     store             OIDCError without a store; of a store's own exceptions those that are
///                       an IStoreFailure, such as standalone::TokenStoreError; no
///     cancelled         Concurrency::task_canceled; no
///     other             OIDCError without a permit; the std::invalid_argument of auth/Requests.h;
///                       std::system_error of another category than those above, std::bad_alloc
///                       and http_exception for want of threads, memory or files;
///                       std::runtime_error in a forked process; what store, permit, logger, proxy
///                       settings and the browser's opener throw, unless it is of a type listed
///                       above; no
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
        providerRefused,  ///< by another status than 200, or an error that it posted
        userDeclined,     ///< or the provider for them: it posted `access_denied`
        wrongAnswer,      ///< configuration, keys, an answer or form is not what it should be
        tokenRefused,     ///< an ID or access token is not its provider's, for this client, now
        notReached,       ///< the provider; or not in time, or not by TLS
        nobodySignedIn,   ///< in time; or no browser opened
        signInNeeded,     ///< and the user may not be asked
        cannotListen,     ///< on any redirect URL
        store,            ///< there is none, or it could not be written
        cancelled,        ///< or the process ends
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
    /// the failure's: empty for task_canceled. Never throws, unless there is no memory.
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
