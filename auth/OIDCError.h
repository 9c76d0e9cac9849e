#pragma once

#include "platform/Export.h"

#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace auth {

/// A failure that the library itself detects: what() is a short text for people, kind() is for
/// code.
///
/// Other failures, and those of the libraries below this one, are exceptions of other types. of()
/// sorts them all into the same kinds:
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
///         throw;                            // no retry helps; see failure.kind()
///     }
///
/// Kind lists, for each kind, the types of its exceptions and whether a retry can help.
///
/// The provider's texts, providerError() and providerErrorDescription(), come from the sender of
/// the answer and may repeat anything in the request, even a secret. Neither what() nor the log
/// contains them. They are free of characters that control a terminal or change the direction of
/// writing. Before you log them, pass them through standalone::redact() or a function of your own.
///
/// A value: copies do not throw. It derives from std::runtime_error because some of these failures
/// have always been of that type.
///
/// \ingroup errors
class OIDCAUTH_API OIDCError : public std::runtime_error {
public:
    /// The kinds of failure.
    enum class Kind {
        /// The provider answered with a status other than 200, or posted an error to the redirect
        /// URL. Comes as OIDCError. A retry can help with status 429, with 500 and above, and with
        /// the errors `temporarily_unavailable` and `server_error`.
        providerRefused,
        /// The user declined, or the provider did so for them: it posted `access_denied`. Comes as
        /// OIDCError. No retry.
        userDeclined,
        /// The provider's configuration, keys, answer or form is invalid or unsuitable. No retry.
        /// Comes as
        /// - OIDCError;
        /// - http_exception without an error code: the HTTP library understood the answer and
        ///   refuses it;
        /// - json_exception and uri_exception;
        /// - std::logic_error, std::range_error, std::overflow_error, std::bad_cast, and
        ///   std::runtime_error with "Invalid input..." or "invalid json": the JWT library, or text
        ///   that is not UTF-8.
        ///
        /// A text or URL of the caller that is malformed also comes as one of these.
        wrongAnswer,
        /// An ID or access token is not from its provider, not for this client, or not valid now.
        /// Comes as OIDCError; for signature and times, as std::system_error with a category of the
        /// JWT library. No retry, although a later request can succeed if the provider was just
        /// replacing a key.
        tokenRefused,
        /// The provider was not reached, not in time, or not by TLS. Comes as http_exception with
        /// an error code. A retry can help.
        notReached,
        /// Nobody signed in within the time limit, or no browser was opened. Comes as OIDCError. No
        /// retry, but the user may be asked again.
        nobodySignedIn,
        /// A sign-in is needed, and the user may not be asked. Comes as RequiresUserAuthException.
        /// A retry can help only if the exception nests the failure of a refresh that a retry can
        /// help.
        signInNeeded,
        /// None of the redirect URLs can be listened on. Comes as OIDCError. No retry.
        cannotListen,
        /// There is no token store, or it cannot be written. The first comes as OIDCError; the
        /// second as the store's own exception, if that is an IStoreFailure such as
        /// standalone::TokenStoreError. No retry.
        store,
        /// The request was cancelled, or the process ends. Comes as Concurrency::task_canceled. No
        /// retry.
        cancelled,
        /// Everything else. No retry. Among these are
        /// - OIDCError: there is no permit;
        /// - std::invalid_argument: auth/Requests.h refuses a value;
        /// - std::system_error with other categories than in tokenRefused, such as for lack of
        ///   threads;
        /// - std::bad_alloc, and http_exception for lack of memory or files;
        /// - std::runtime_error in a forked process;
        /// - exceptions of store, permit, proxy settings and browser opener, unless their type is
        ///   listed above.
        other,
    };

    /// The details of a failure. Members are empty if they do not apply.
    struct Details {
        /// See OIDCError::status().
        std::optional<unsigned> status = {};
        /// See OIDCError::providerError().
        std::string providerError = {};
        /// See OIDCError::providerErrorDescription().
        std::string providerErrorDescription = {};
        /// See OIDCError::claims().
        std::vector<std::string> claims = {};
        /// See OIDCError::missedClaim().
        std::string missedClaim = {};
    };

    /// A failure without details.
    OIDCError(Kind kind, const std::string& text);
    /// A failure; canRetry() follows from `kind` and `details`.
    OIDCError(Kind kind, const std::string& text, Details details);
    ~OIDCError() override;
    OIDCError(const OIDCError&) = default;
    OIDCError& operator=(const OIDCError&) = default;

    /// Any failure of this library, and of the libraries below it, as an OIDCError with the same
    /// what(). That text is empty for task_canceled. For an exception that is not a std::exception,
    /// and for a null pointer, the kind is Kind::other. Throws only if memory runs out.
    static OIDCError of(const std::exception_ptr& failure);

    /// The kind of failure.
    Kind kind() const noexcept;
    /// Whether the same request may succeed later, with nothing changed on this side.
    bool canRetry() const noexcept;

    /// The HTTP status of the provider's answer, if it was not 200.
    std::optional<unsigned> status() const noexcept;
    /// The `error` that the provider sent (RFC 6749, sections 4.1.2.1 and 5.2; OpenID Connect Core
    /// 1.0, section 3.1.2.6), else empty.
    ///
    /// It comes from the form of a sign-in, or from an answer of the token endpoint that has 8 KiB
    /// at most and arrives within 2 s. UTF-8, on one line, at most 256 characters.
    const std::string& providerError() const noexcept;
    /// The `error_description` that the provider sent, under the same conditions as
    /// providerError(): in UTF-8, on one line, at most 256 characters, else empty.
    const std::string& providerErrorDescription() const noexcept;

    /// The names of a refused token's claims, at most 64, never their values.
    const std::vector<std::string>& claims() const noexcept;
    /// The name of a refused token's claim, or member of its header, that is missing or wrong.
    const std::string& missedClaim() const noexcept;

private:
    struct Data;

    OIDCError(const std::string& text, std::shared_ptr<const Data> data);

    std::shared_ptr<const Data> m_data;  // shared: a copy does not throw
};

}  // namespace auth
