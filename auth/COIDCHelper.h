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

/// Only the user could provide a token by signing in, and the caller did not allow to ask. Where a
/// refresh failed before, that is nested (std::rethrow_if_nested, OIDCError::of).
class OIDCAUTH_API RequiresUserAuthException : public std::exception {
public:
    explicit RequiresUserAuthException(std::string text);
    const char* what() const noexcept override;

private:
    std::string m_text;
};

/// Brings the user to this URL, which is theirs alone, and tells whether that worked. Called on any
/// thread, it returns soon, since nothing can cancel it; whatever it throws ends the request.
using BrowserOpener = std::function<bool(const CString& url)>;

/// Gets tokens: from its store while they serve, from the provider otherwise.
///
/// Operations may be called from any thread. Those named ...Async return a task at once and never
/// throw, the others block until that task has ended. The helper must live until every task that it
/// returned has ended. A failure is an exception in the task, with a short text: OIDCError for what
/// the provider refused or answered wrongly, the exceptions of the HTTP, JSON and JWT libraries as
/// they are, std::range_error for a text that is not Unicode, what the token store threw when it
/// was written, std::system_error where the system gives no thread, and task_canceled after
/// cancellation. OIDCError::of() sorts them all. Nobody need read a task's outcome.
///
/// Configuration URLs name a provider's configuration document (OpenID Connect Discovery 1.0).
/// Scopes are one text, separated by spaces. `minValidity` is in minutes: a stored token serves
/// while it will not expire within them. The forms that take a struct do the same as those that
/// take its members; auth/Requests.h has these, and says what is refused.
///
/// What the process has to know:
/// - Continuations of a returned task run on threads of this library unless they say otherwise, and
///   may block. Tasks of the program's own run on the HTTP library's 40 threads: there, no blocking
///   form may be called, nor anything that waits for a token. 40 such tasks at a time leave no
///   thread for the answers that they wait for.
/// - At the end of the process, with exit() or the end of main(), waiting ends: requests that wait
///   for the provider or the user end with task_canceled, and the process waits until they have. A
///   program that wants their outcome waits for it before; one that destroys its helper first
///   cancels its requests and waits for their tasks, which the destructor does not. A continuation
///   may call exit(), but not the store, a permit, the logger or the browser's opener: the end
///   would wait for them.
/// - A process that was forked has none of these threads. Where its parent had asked for a token
///   before, it gets a user's stored token and else std::runtime_error, and has to end with
///   _exit(): the HTTP library would wait for its threads. Fork first, or start a program.
/// - The host reads the environment (proxies, authorities, the browser) on our threads: it may not
///   be changed while requests are under way.
class OIDCAUTH_API COIDCHelper {
public:
    /// Throws OIDCError when the store is empty. A store that is an IRefreshAwareStore as well is
    /// told which records come from a refresh. The permit may be shared with other helpers; the
    /// logger may be empty. Never give it getProcessExclusivePermit(): each request of a user has
    /// that one already and would wait 25 s for it; a warning is logged.
    COIDCHelper(std::unique_ptr<ISecretStore<COIDCToken>> tokenStore,
                std::shared_ptr<IExclusivePermit> permit,
                const std::shared_ptr<LoggingUtilities::CLogger>& logger);
    ~COIDCHelper();
    COIDCHelper(const COIDCHelper&) = delete;
    COIDCHelper& operator=(const COIDCHelper&) = delete;

    /// The access token of a service (RFC 6749, section 4.4). Requests of one helper are served one
    /// at a time, so that those that come together cause one request to the provider.
    CString getAccessTokenClientCredentials(const CString& configUrl, const CString& clientId,
                                            const CString& clientSecret, const CString& scopes,
                                            unsigned int minValidity);
    Concurrency::task<CString> getAccessTokenClientCredentialsAsync(
        const CString& configUrl, const CString& clientId, const CString& clientSecret,
        const CString& scopes, unsigned int minValidity,
        const Concurrency::cancellation_token& token);
    CString getAccessTokenClientCredentials(const ServiceRequest& request);
    Concurrency::task<CString> getAccessTokenClientCredentialsAsync(
        const ServiceRequest& request,
        const Concurrency::cancellation_token& token = Concurrency::cancellation_token::none());
    /// The whole token, with its expiry; it has neither refresh nor ID token.
    COIDCToken getOIDCTokenClientCredentials(const ServiceRequest& request);
    Concurrency::task<COIDCToken> getOIDCTokenClientCredentialsAsync(
        const ServiceRequest& request,
        const Concurrency::cancellation_token& token = Concurrency::cancellation_token::none());

    // The token of a user: the stored one while it serves, or once it is refreshed (RFC 6749,
    // section 6). Otherwise the user is asked to sign in (OpenID Connect Core 1.0, section 3.3)
    // within 90 s where `authRequested` allows that; where it does not, the request ends with
    // RequiresUserAuthException. Redirect URLs are alternatives for the provider's answer, in the
    // order of preference: http, on this machine, registered with the provider (RFC 8252, section
    // 7.3); without the user they are not needed.
    //
    // Requests that come together cause one refresh or one sign-in: in this process by its permit,
    // and among all who have this helper's permit by that one, for which a request waits no longer
    // than 25 s. On the calling thread the store is read and the permits are tried; the first
    // request that needs them starts the HTTP library's threads there, some milliseconds, once.
    Concurrency::task<COIDCToken> getOIDCTokenHybridAsync(
        const CString& configUrl, const CString& clientId, const CString& scopes,
        const std::vector<CString>& redirectUrls, unsigned int minValidity,
        const Concurrency::cancellation_token& token, bool authRequested);
    Concurrency::task<CString> getAccessTokenHybridAsync(
        const CString& configUrl, const CString& clientId, const CString& scopes,
        const std::vector<CString>& redirectUrls, unsigned int minValidity,
        const Concurrency::cancellation_token& token, bool authRequested);
    Concurrency::task<CString> getIdTokenHybridAsync(const CString& configUrl,
                                                     const CString& clientId, const CString& scopes,
                                                     const std::vector<CString>& redirectUrls,
                                                     unsigned int minValidity,
                                                     const Concurrency::cancellation_token& token,
                                                     bool authRequested);
    CString getAccessTokenHybrid(const CString& configUrl, const CString& clientId,
                                 const CString& scopes, const std::vector<CString>& redirectUrls,
                                 unsigned int minValidity, bool authRequested);
    Concurrency::task<COIDCToken> getOIDCTokenHybridAsync(
        const UserRequest& request,
        const Concurrency::cancellation_token& token = Concurrency::cancellation_token::none());
    Concurrency::task<CString> getAccessTokenHybridAsync(
        const UserRequest& request,
        const Concurrency::cancellation_token& token = Concurrency::cancellation_token::none());
    Concurrency::task<CString> getIdTokenHybridAsync(
        const UserRequest& request,
        const Concurrency::cancellation_token& token = Concurrency::cancellation_token::none());
    COIDCToken getOIDCTokenHybrid(const UserRequest& request);
    CString getAccessTokenHybrid(const UserRequest& request);
    CString getIdTokenHybrid(const UserRequest& request);

    // Removes the stored token, a user's or a service's; the provider is not told. Where the store
    // cannot be written, or the token is cancelled before, it stays.
    //
    // It waits for its turn as a request does, first for the permit of this process and then, no
    // longer than 25 s, for the helper's: a request of a user that is at a refresh or a sign-in
    // ends before, and what it stores is removed with the rest. Who does not want to wait cancels
    // it. A request of a service under way ends when it will. No request of this helper puts a
    // token back that it began to get before: its caller receives it all the same, the store does
    // not. A service's request of another helper, or a sign-in elsewhere that takes longer than
    // those 25 s, still stores. The store is emptied by writing nothing to it.
    Concurrency::task<void> signOutAsync(
        const Concurrency::cancellation_token& token = Concurrency::cancellation_token::none());
    void signOut();

    /// What brings the user to the provider, openBrowser at first. Before the first request.
    void setBrowserOpener(BrowserOpener open);
    /// The user's default browser; true when it has started.
    static bool openBrowser(const CString& url);

    /// The one permit of this process.
    static std::shared_ptr<IExclusivePermit> getProcessExclusivePermit();
    /// A new permit, for the helpers that are to be co-ordinated.
    static std::shared_ptr<IExclusivePermit> makeExclusivePermit();

private:
    struct Permits;
    struct TokenTaskData;
    using TaskData = std::shared_ptr<TokenTaskData>;
    /// Of one step of a request: the token, or false when a retry is under way that will bring it.
    using Made = std::pair<bool, COIDCToken>;

    /// What the store had at one moment.
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
    const std::unique_ptr<detail::Turns> m_turns;  // one for the whole of a service's request
    std::shared_ptr<LoggingUtilities::CLogger> m_logger;
    std::shared_ptr<IExclusivePermit> m_permit;
    BrowserOpener m_openBrowser = &COIDCHelper::openBrowser;
    std::mutex m_writing;
    std::atomic<std::uint64_t> m_signOuts{0};  // changes while m_writing is held
};

}  // namespace auth
