#pragma once

#include "auth/COIDCToken.h"
#include "auth/IExclusivePermit.h"
#include "auth/Requests.h"
#include "host/CLogger.h"
#include "host/CString.h"
#include "host/ISecretStore.h"
#include "platform/Export.h"
#include "platform/Tasks.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace auth {

namespace detail {
class Turns;
struct ServiceArguments;
struct UserArguments;
}  // namespace detail

/// Only a sign-in could provide the token, and the caller did not allow one.
///
/// If a refresh failed before, its exception is nested: std::rethrow_if_nested() rethrows it, and
/// OIDCError::of() adopts its details and whether a retry can help.
///
/// \ingroup errors
class OIDCAUTH_API RequiresUserAuthException : public std::exception {
public:
    /// Makes what() return `text`.
    explicit RequiresUserAuthException(std::string text);
    /// A short English text in UTF-8.
    const char* what() const noexcept override;

private:
    std::string m_text;
};

/// Shows the sign-in page at `url` to the user; returns whether that worked.
///
/// The URL belongs to this user and this sign-in: show it to nobody else. The library calls the
/// function on a thread of its own, for one sign-in of the process at a time. The function should
/// return soon, because nothing can cancel it. If it returns false, the request ends with
/// OIDCError::Kind::nobodySignedIn; if it throws, with that exception.
///
/// \ingroup helper
using BrowserOpener = std::function<bool(const CString& url)>;

/// Gets tokens: from its token store while they are valid, otherwise from the provider.
///
/// **Calls.** Operations may be called from any thread. Those named ...Async return a task at once
/// and never throw. The blocking forms wait until that task has ended, and throw its exception. A
/// form that takes a struct does the same as the one that takes its members; auth/Requests.h says
/// which values are refused.
///
/// **Lifetime.** The helper must live until every task that it returned has ended. The destructor
/// neither cancels requests nor waits for them.
///
/// **Arguments.** Configuration URLs name a provider's configuration document (OpenID Connect
/// Discovery 1.0, section 4). Scopes are one text, separated by spaces. All texts must be valid
/// Unicode.
///
/// A stored token is used only if it is of the same client, has all the scopes, and is valid for
/// longer than `minValidity` minutes. Its provider is not compared: use one store per provider. An
/// `unsigned int` is read as signed here: from 2^31 on it is negative, and accepts a token that has
/// expired.
///
/// **Errors.** A failure is an exception in the task, with a short text:
/// - OIDCError, for example if the provider refused or its answer is wrong;
/// - RequiresUserAuthException, if only a sign-in could help and was not allowed;
/// - std::invalid_argument for a value that auth/Requests.h refuses;
/// - the exceptions of the HTTP, JSON and JWT libraries, unchanged;
/// - std::range_error for a text that is not Unicode;
/// - the exceptions of the permit, the browser opener and the proxy settings, and those of the
///   token store when it is written (when it is read, they count as "nothing stored");
/// - std::system_error if the system provides no thread;
/// - Concurrency::task_canceled after cancellation.
///
/// OIDCError::of() sorts them all. The outcome of a task may be left unread.
///
/// **Threads.** Continuations of a returned task run on threads of this library, unless they ask
/// for others, and may block there. On Linux, tasks that the program itself creates run on the HTTP
/// library's 40 threads; on Windows, in the system's pool. Do not call a blocking form in such a
/// task, nor wait for a token there by other means: on Linux, 40 of them at a time leave no thread
/// for the answers that they wait for.
///
/// **End of the process.** exit() and the end of main() end all waiting: requests that wait for the
/// provider or the user end with task_canceled, and the process waits until they have. A program
/// that wants their outcome waits for it first. Before a program destroys its helper, it cancels
/// the requests and waits for their tasks. A continuation may call exit(). The store, a permit, the
/// logger and the browser opener must not, because the end of the process would wait for them.
///
/// **fork().** A forked process has none of the library's threads. If its parent had asked for a
/// token before, the child can still get a user's stored token; its other requests end with
/// std::runtime_error. Such a child must end with _exit(): otherwise the HTTP library would wait
/// for its threads. Fork before the first request, or start a program instead.
///
/// **Environment.** The host reads environment variables (proxies, authorities, the browser) on the
/// library's threads. Do not change the environment while requests are under way.
///
/// \ingroup helper
class OIDCAUTH_API COIDCHelper {
public:
    /// Takes over `tokenStore`, and shares `permit` and `logger`.
    ///
    /// If `tokenStore` is also an IRefreshAwareStore, it is told which records come from a refresh.
    /// Other helpers may share the permit; see makeExclusivePermit(). If it is null, each request
    /// of a user and each sign-out ends with an OIDCError; requests of a service take no permit. Do
    /// not pass getProcessExclusivePermit(): each request of a user already holds that one, and
    /// would wait 25 s for itself. The constructor logs a warning then. `logger` may be null.
    ///
    /// Throws OIDCError with Kind::store if `tokenStore` is null.
    COIDCHelper(std::unique_ptr<ISecretStore<COIDCToken>> tokenStore,
                std::shared_ptr<IExclusivePermit> permit,
                const std::shared_ptr<LoggingUtilities::CLogger>& logger);
    /// To be called only when all tasks have ended.
    ~COIDCHelper();
    COIDCHelper(const COIDCHelper&) = delete;
    COIDCHelper& operator=(const COIDCHelper&) = delete;

    /// \name Token of a service
    /// The client credentials grant (RFC 6749, section 4.4). Requests of one helper are served one
    /// at a time, so that simultaneous ones cause one request to the provider. The store is read on
    /// another thread than the caller's.
    /// \{

    /// The access token; blocks.
    CString getAccessTokenClientCredentials(const CString& configUrl, const CString& clientId,
                                            const CString& clientSecret, const CString& scopes,
                                            unsigned int minValidity);
    /// The access token.
    Concurrency::task<CString> getAccessTokenClientCredentialsAsync(
        const CString& configUrl, const CString& clientId, const CString& clientSecret,
        const CString& scopes, unsigned int minValidity,
        const Concurrency::cancellation_token& token);
    /// The access token; blocks.
    CString getAccessTokenClientCredentials(const ServiceRequest& request);
    /// The access token.
    Concurrency::task<CString> getAccessTokenClientCredentialsAsync(
        const ServiceRequest& request,
        const Concurrency::cancellation_token& token = Concurrency::cancellation_token::none());
    /// The whole token with its expiry; blocks. It has neither a refresh token nor an ID token.
    COIDCToken getOIDCTokenClientCredentials(const ServiceRequest& request);
    /// The whole token with its expiry. It has neither a refresh token nor an ID token.
    Concurrency::task<COIDCToken> getOIDCTokenClientCredentialsAsync(
        const ServiceRequest& request,
        const Concurrency::cancellation_token& token = Concurrency::cancellation_token::none());
    /// \}

    /// \name Token of a user
    /// A request tries three ways, in this order:
    /// 1. the stored token, while it is valid;
    /// 2. a refresh of the stored token (RFC 6749, section 6);
    /// 3. a sign-in within 90 s (OpenID Connect Core 1.0, section 3.3), if `authRequested`, or
    ///    UserRequest::mayAskUser, allows it. If not, the request ends with
    ///    RequiresUserAuthException.
    ///
    /// Redirect URLs are needed for the sign-in only: alternatives for the provider's answer, in
    /// order of preference. Each is an http URL of this machine that is registered with the
    /// provider (RFC 8252, section 7.3).
    ///
    /// Simultaneous requests cause one refresh or one sign-in. For this, two permits are taken: the
    /// process's own, which all its helpers share, and the one given to the constructor. A request
    /// waits for the first without limit. It waits for the second until 25 s after its start, then
    /// goes on without it.
    ///
    /// The calling thread reads the store and tries the permits. On Linux, the first request that
    /// needs the HTTP library's threads also starts them on the calling thread; this takes some
    /// milliseconds, once.
    /// \{

    /// The whole token.
    Concurrency::task<COIDCToken> getOIDCTokenHybridAsync(
        const CString& configUrl, const CString& clientId, const CString& scopes,
        const std::vector<CString>& redirectUrls, unsigned int minValidity,
        const Concurrency::cancellation_token& token, bool authRequested);
    /// The access token.
    Concurrency::task<CString> getAccessTokenHybridAsync(
        const CString& configUrl, const CString& clientId, const CString& scopes,
        const std::vector<CString>& redirectUrls, unsigned int minValidity,
        const Concurrency::cancellation_token& token, bool authRequested);
    /// The ID token.
    Concurrency::task<CString> getIdTokenHybridAsync(const CString& configUrl,
                                                     const CString& clientId, const CString& scopes,
                                                     const std::vector<CString>& redirectUrls,
                                                     unsigned int minValidity,
                                                     const Concurrency::cancellation_token& token,
                                                     bool authRequested);
    /// The access token; blocks.
    CString getAccessTokenHybrid(const CString& configUrl, const CString& clientId,
                                 const CString& scopes, const std::vector<CString>& redirectUrls,
                                 unsigned int minValidity, bool authRequested);
    /// The whole token.
    Concurrency::task<COIDCToken> getOIDCTokenHybridAsync(
        const UserRequest& request,
        const Concurrency::cancellation_token& token = Concurrency::cancellation_token::none());
    /// The access token.
    Concurrency::task<CString> getAccessTokenHybridAsync(
        const UserRequest& request,
        const Concurrency::cancellation_token& token = Concurrency::cancellation_token::none());
    /// The ID token.
    Concurrency::task<CString> getIdTokenHybridAsync(
        const UserRequest& request,
        const Concurrency::cancellation_token& token = Concurrency::cancellation_token::none());
    /// The whole token; blocks.
    COIDCToken getOIDCTokenHybrid(const UserRequest& request);
    /// The access token; blocks.
    CString getAccessTokenHybrid(const UserRequest& request);
    /// The ID token; blocks.
    CString getIdTokenHybrid(const UserRequest& request);
    /// \}

    /// \name Sign-out
    /// Removes the stored token, whether a user's or a service's, by writing no bytes to the store.
    /// The provider is not told. If the store cannot be written, or the sign-out is cancelled
    /// before the write, the token stays.
    ///
    /// A sign-out waits for the same permits as a request of a user: without limit for the
    /// process's own, and at most 25 s for the helper's. It therefore waits for a refresh or a
    /// sign-in under way, and removes the token of that as well. To stop waiting, cancel the task.
    ///
    /// A request of a service that is under way goes on. If this helper began to get a token before
    /// the sign-out, it does not store that token afterwards; the caller still receives it. Two
    /// kinds of request may still store a token: a request for a service made through another
    /// helper, and a refresh or sign-in in another process that takes longer than the 25 s.
    /// \{

    /// Signs out.
    Concurrency::task<void> signOutAsync(
        const Concurrency::cancellation_token& token = Concurrency::cancellation_token::none());
    /// Signs out; blocks.
    void signOut();
    /// \}

    /// Replaces openBrowser() for the sign-ins of this helper. Call it before the first request.
    /// With an empty function, every sign-in ends with OIDCError::Kind::nobodySignedIn.
    void setBrowserOpener(BrowserOpener open);
    /// Opens an http or https URL in the user's default browser. Returns whether a browser was
    /// started; for any other URL, false. Throws std::range_error for a text that is not Unicode.
    static bool openBrowser(const CString& url);

    /// The permit that all helpers of this process take; it is always the same object.
    static std::shared_ptr<IExclusivePermit> getProcessExclusivePermit();
    /// A new permit for the constructor. Helpers of this process that use the same store share one;
    /// among processes, use standalone::FilePermit.
    static std::shared_ptr<IExclusivePermit> makeExclusivePermit();

private:
    struct Permits;
    struct TokenTaskData;
    using TaskData = std::shared_ptr<TokenTaskData>;
    /// The result of a step: true and the token, or false if a retry that will get it is scheduled.
    using Made = std::pair<bool, COIDCToken>;

    /// The content of the store at one moment.
    struct StoredRecord {
        std::uint64_t signOuts = 0;  // before it was read
        bool isRead = false;
        std::vector<std::uint8_t> bytes;
        bool isLoaded = false;
        COIDCToken token;  // empty unless it is loaded
    };

    StoredRecord loadStoredToken(bool reread) const noexcept;
    /// Stores it only while `signOuts` is still the number of sign-outs.
    void saveToken(COIDCToken& token, std::uint64_t signOuts, bool isRefreshed = false);
    void write(const std::vector<std::uint8_t>& bytes, bool isRefreshed);
    void emptyStore(const Concurrency::cancellation_token& token);

    template <class T, class Arguments, class Part>
    Concurrency::task<T> requestService(const Arguments& arguments,
                                        const Concurrency::cancellation_token& token, Part part);
    COIDCToken serveClientCredentials(const detail::ServiceArguments& asked,
                                      const Concurrency::cancellation_token& token);
    Concurrency::task<COIDCToken> requestTokenClientCredentialsAsync(
        const CString& configUrl, const CString& clientId, const CString& clientSecret,
        const CString& scopes, const Concurrency::cancellation_token& token,
        std::uint64_t signOuts);

    // A hybrid request is a chain of steps, each of which decides anew until one has the token.

    template <class T, class Arguments, class Part>
    Concurrency::task<T> requestHybrid(const Arguments& arguments,
                                       const Concurrency::cancellation_token& token, Part part);
    Concurrency::task<COIDCToken> getTokenTask(const TaskData& data,
                                               const Concurrency::cancellation_token& token);
    Concurrency::task<Made> TryMakeToken(const TaskData& data,
                                         const Concurrency::cancellation_token& token);
    static void TryCatchMakeToken(const Concurrency::task<Made>& step, const TaskData& data);
    Concurrency::task<Made> scheduleRetryhMakeToken(std::chrono::milliseconds delay,
                                                    const TaskData& data,
                                                    const Concurrency::cancellation_token& token);
    struct Assessment;
    static Assessment assess(const TokenTaskData& data, const StoredRecord& stored);
    Concurrency::task<Made> useStored(const StoredRecord& stored) const;
    Permits newPermits() const;
    bool takePermits(Permits& permits) const;
    Concurrency::task<Made> refreshToken(const TaskData& data, COIDCToken stored,
                                         const Concurrency::cancellation_token& token);
    Concurrency::task<Made> refreshOutcome(const Concurrency::task<COIDCToken>& refreshed,
                                           const TaskData& data, const CString& sentRefreshToken,
                                           const Concurrency::cancellation_token& token);
    Concurrency::task<COIDCToken> requestTokenHybridAsync(
        const CString& configUrl, const CString& clientId, const CString& scopes,
        const std::vector<CString>& redirectUrls, const Concurrency::cancellation_token& token,
        const TaskData& data);

    std::unique_ptr<ISecretStore<COIDCToken>> m_tokenStore;
    const std::unique_ptr<detail::Turns> m_turns;  // a request of a service holds one throughout
    std::shared_ptr<LoggingUtilities::CLogger> m_logger;
    std::shared_ptr<IExclusivePermit> m_permit;
    BrowserOpener m_openBrowser = &COIDCHelper::openBrowser;
    std::mutex m_writing;
    std::atomic<std::uint64_t> m_signOuts{0};  // changes while m_writing is held
};

}  // namespace auth
