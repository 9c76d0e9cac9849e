#include "auth/COIDCHelper.h"

#include "auth/COIDCAuthClientCredentials.h"
#include "auth/COIDCAuthHybrid.h"
#include "auth/detail/Clock.h"
#include "auth/detail/Log.h"
#include "auth/detail/Text.h"
#include "auth/detail/Waiting.h"
#include "host/CMemoryArchive.h"
#include "platform/Browser.h"
#include "platform/TaskScheduler.h"
#include "platform/Timer.h"

#include <boost/optional.hpp>

#include <cstdint>

namespace auth {

using Concurrency::cancellation_token;
using detail::ELogLevel;

namespace {

// Made while the library is loaded, so that all of the process have the same one.
const std::shared_ptr<IExclusivePermit> processPermit = ExclusivePermit::make();

constexpr std::chrono::milliseconds retryDelay{50};
constexpr std::chrono::seconds helperPermitLimit{25};
constexpr std::chrono::seconds failedRefreshPause{2};
constexpr std::uint32_t signInSeconds = 90;

OIDCFlowSettings hybridSettings() {
    return {"code id_token", "form_post", "authorization_code", "refresh_token", "RS256", "S256"};
}

CString firstOf(const std::vector<CString>& urls) {
    return urls.empty() ? CString() : urls.front();
}

std::unique_ptr<IPermitLock> lockOf(const std::shared_ptr<IExclusivePermit>& permit) {
    if (!permit) {
        throw detail::Error("exclusive permit should be specified");
    }
    auto lock = permit->createLock();
    if (!lock) {
        throw detail::Error("exclusive permit gives no lock");
    }
    return lock;
}

/// A continuation that runs although the request's token is cancelled: it ends what was begun.
Concurrency::task_options inAnyCase() {
    return platform::blocking(cancellation_token::none());
}

using Holder = std::shared_ptr<boost::optional<COIDCAuthHybrid>>;

/// Makes the protocol object of a hybrid request, which takes a while.
Concurrency::task<Holder> constructAsync(const CString& configUrl, const detail::LoggerPtr& logger,
                                         const cancellation_token& token,
                                         const BrowserOpener& openBrowser = {}) {
    return Concurrency::create_task(
        [configUrl, logger, token, openBrowser] {
            auto holder = std::make_shared<boost::optional<COIDCAuthHybrid>>();
            holder->emplace(configUrl, logger, hybridSettings(), token, openBrowser);
            return holder;
        },
        platform::blocking(token));
}

/// To be called while an exception is handled.
void logFailedRefresh(const detail::LoggerPtr& logger) {
    try {
        throw;
    } catch (const std::exception& error) {
        detail::log(logger, ELogLevel::Warning, L"Failed to refresh token. Reason: %s.",
                    error.what());
        // A refusal comes as a pointer.
        // NOLINTNEXTLINE(cert-err09-cpp,cert-err61-cpp,misc-throw-by-value-catch-by-reference)
    } catch (const std::exception* refusal) {
        const std::unique_ptr<const std::exception> owned(refusal);
        detail::log(logger, ELogLevel::Warning, L"Failed to refresh token.");
    } catch (...) {
        detail::log(logger, ELogLevel::Warning, L"Failed to refresh token.");
    }
}

}  // namespace

/// A hybrid request under way. Its steps come one after the other, on different threads.
struct COIDCHelper::TokenTaskData {
    CString configUrl;
    CString clientId;
    CString scopes;
    std::vector<CString> redirectUrls;
    unsigned int minValidity;
    bool authRequested;
    std::unique_ptr<IPermitLock> processLock;
    std::unique_ptr<IPermitLock> helperLock;
    CString lastRefreshToken = {};  // which failed
    bool reread = false;
    COIDCToken::TimePoint startTime = detail::now();
    COIDCToken::TimePoint lastRefreshTime = {};
    Concurrency::task_completion_event<COIDCToken> resultEvent = {};
};

RequiresUserAuthException::RequiresUserAuthException(std::string text) : m_text(std::move(text)) {}

const char* RequiresUserAuthException::what() const noexcept {
    return m_text.c_str();
}

COIDCHelper::COIDCHelper(std::unique_ptr<ISecretStore<COIDCToken>> tokenStore,
                         std::shared_ptr<IExclusivePermit> permit,
                         const std::shared_ptr<LoggingUtilities::CLogger>& logger)
    : m_tokenStore(std::move(tokenStore)), m_logger(logger), m_permit(std::move(permit)) {
    if (!m_tokenStore) {
        detail::fail(m_logger, "token store should be specified",
                     L"Unable to create authenticator helper. Token store not specified.");
    }
}

COIDCHelper::~COIDCHelper() = default;

std::shared_ptr<IExclusivePermit> COIDCHelper::getProcessExclusivePermit() {
    return processPermit;
}

std::shared_ptr<IExclusivePermit> COIDCHelper::makeExclusivePermit() {
    return ExclusivePermit::make();
}

CString COIDCHelper::getAccessTokenClientCredentials(const CString& configUrl,
                                                     const CString& clientId,
                                                     const CString& clientSecret,
                                                     const CString& scopes,
                                                     unsigned int minValidity) {
    return getAccessTokenClientCredentialsAsync(configUrl, clientId, clientSecret, scopes,
                                                minValidity, cancellation_token::none())
        .get();
}

Concurrency::task<CString> COIDCHelper::getAccessTokenClientCredentialsAsync(
    const CString& configUrl, const CString& clientId, const CString& clientSecret,
    const CString& scopes, unsigned int minValidity, const cancellation_token& token) {
    detail::log(m_logger, ELogLevel::Flow,
                L"Obtaining oidc token using config url = %s, client id = %s, scopes = %s",
                configUrl, clientId, scopes);
    return detail::observed(Concurrency::create_task(
        [this, configUrl, clientId, clientSecret, scopes, minValidity, token] {
            return serveClientCredentials(configUrl, clientId, clientSecret, scopes, minValidity,
                                          token);
        },
        platform::blocking(token)));
}

CString COIDCHelper::serveClientCredentials(const CString& configUrl, const CString& clientId,
                                            const CString& clientSecret, const CString& scopes,
                                            unsigned int minValidity,
                                            const cancellation_token& token) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (token.is_canceled()) {
        throw Concurrency::task_canceled();
    }
    COIDCToken stored;
    if (loadStoredToken(false, stored) && stored.validateScopes(scopes) &&
        stored.validateClientID(clientId) && !stored.willBeExpiredAfter(minValidity)) {
        return stored.accessToken();
    }
    detail::log(m_logger, ELogLevel::Detail,
                L"Stored token is invalid or expired or does not exists.");
    return requestTokenClientCredentialsAsync(configUrl, clientId, clientSecret, scopes, token)
        .get()
        .accessToken();
}

Concurrency::task<COIDCToken> COIDCHelper::requestTokenClientCredentialsAsync(
    const CString& configUrl, const CString& clientId, const CString& clientSecret,
    const CString& scopes, const cancellation_token& token) {
    detail::log(
        m_logger, ELogLevel::Detail,
        L"Requesting client authentication using config url = %s, clientID = %s, scopes = %s.",
        configUrl, clientId, scopes);
    // All of it on this thread: when the system gives no more threads, one for the rest might never
    // come, since the others wait for the mutex.
    COIDCToken received;
    {
        COIDCAuthClientCredentials client(configUrl, m_logger, "client_credentials", token);
        received = client.requestTokenAsync(clientId, clientSecret, scopes, token).get();
    }
    detail::log(m_logger, ELogLevel::Detail,
                L"Client authentication performed successfully, token received.");
    saveToken(received);
    return Concurrency::task_from_result(std::move(received));
}

Concurrency::task<COIDCToken> COIDCHelper::getOIDCTokenHybridAsync(
    const CString& configUrl, const CString& clientId, const CString& scopes,
    const std::vector<CString>& redirectUrls, unsigned int minValidity,
    const cancellation_token& token, bool authRequested) {
    detail::log(
        m_logger, ELogLevel::Flow,
        L"Obtaining token using config url = %s, client id = %s, scopes = %s, redirect url = %s",
        configUrl, clientId, scopes, firstOf(redirectUrls));
    TaskData data;
    try {
        data = std::make_shared<TokenTaskData>(
            TokenTaskData{configUrl, clientId, scopes, redirectUrls, minValidity, authRequested,
                          lockOf(getProcessExclusivePermit()), lockOf(m_permit)});
    } catch (...) {
        return detail::observed(
            Concurrency::task_from_exception<COIDCToken>(std::current_exception()));
    }
    return detail::observed(getTokenTask(data, token)
                                .then(
                                    [data](const Concurrency::task<COIDCToken>& ended) {
                                        data->processLock.reset();
                                        data->helperLock.reset();
                                        return ended.get();
                                    },
                                    inAnyCase()));
}

Concurrency::task<CString> COIDCHelper::getAccessTokenHybridAsync(
    const CString& configUrl, const CString& clientId, const CString& scopes,
    const std::vector<CString>& redirectUrls, unsigned int minValidity,
    const cancellation_token& token, bool authRequested) {
    return detail::observed(
        getOIDCTokenHybridAsync(configUrl, clientId, scopes, redirectUrls, minValidity, token,
                                authRequested)
            .then([](const COIDCToken& received) { return received.accessToken(); }));
}

Concurrency::task<CString> COIDCHelper::getIdTokenHybridAsync(
    const CString& configUrl, const CString& clientId, const CString& scopes,
    const std::vector<CString>& redirectUrls, unsigned int minValidity,
    const cancellation_token& token, bool authRequested) {
    return detail::observed(
        getOIDCTokenHybridAsync(configUrl, clientId, scopes, redirectUrls, minValidity, token,
                                authRequested)
            .then([](const COIDCToken& received) { return received.idToken(); }));
}

CString COIDCHelper::getAccessTokenHybrid(const CString& configUrl, const CString& clientId,
                                          const CString& scopes,
                                          const std::vector<CString>& redirectUrls,
                                          unsigned int minValidity, bool authRequested) {
    return getAccessTokenHybridAsync(configUrl, clientId, scopes, redirectUrls, minValidity,
                                     cancellation_token::none(), authRequested)
        .get();
}

void COIDCHelper::setBrowserOpener(BrowserOpener open) {
    m_openBrowser = std::move(open);
}

bool COIDCHelper::openBrowser(const CString& url) {
    return platform::openBrowser(detail::toHttpText(url));
}

Concurrency::task<COIDCToken> COIDCHelper::getTokenTask(const TaskData& data,
                                                        const cancellation_token& token) {
    try {
        TryMakeToken(data, token)
            .then([data](const Concurrency::task<Made>& step) { TryCatchMakeToken(step, data); },
                  platform::inlined());
    } catch (...) {
        return Concurrency::task_from_exception<COIDCToken>(std::current_exception());
    }
    return Concurrency::create_task(data->resultEvent);
}

Concurrency::task<COIDCHelper::Made> COIDCHelper::TryMakeToken(const TaskData& data,
                                                               const cancellation_token& token) {
    COIDCToken stored;
    const bool isValid = loadStoredToken(data->reread, stored) &&
                         stored.validateScopes(data->scopes) &&
                         stored.validateClientID(data->clientId);
    const bool isExpired = isValid && stored.willBeExpiredAfter(data->minValidity);
    if (isValid && !isExpired) {
        detail::log(m_logger, ELogLevel::Flow, L"Using stored token.");
        return Concurrency::task_from_result(Made{true, std::move(stored)});
    }
    if (!data->reread) {
        data->reread = true;
        return TryMakeToken(data, token);
    }
    if (!mayProceed(*data, stored)) {
        return scheduleRetryhMakeToken(retryDelay, data, token);
    }
    if (!isValid) {
        detail::log(m_logger, ELogLevel::Detail, L"Stored token is invalid or does not exists.");
    }
    if (isExpired && stored.refreshToken() != data->lastRefreshToken) {
        detail::log(m_logger, ELogLevel::Detail, L"Stored token is expired.");
        if (!stored.refreshToken().IsEmpty()) {
            return refreshToken(data, std::move(stored), token);
        }
    }
    if (data->authRequested) {
        return requestTokenHybridAsync(data->configUrl, data->clientId, data->scopes,
                                       data->redirectUrls, token)
            .then(
                [](const COIDCToken& received) {
                    return Made{true, received};
                },
                inAnyCase());
    }
    if (isExpired) {
        detail::log(m_logger, ELogLevel::Warning,
                    L"Stored token is expired and auth was not requested.");
        throw RequiresUserAuthException("unable to refresh token");
    }
    detail::log(m_logger, ELogLevel::Warning,
                L"Stored token is invalid or does not exists and auth was not requested.");
    throw RequiresUserAuthException("unable to get token");
}

/// Whether it is up to this request to get a new token, and time for it.
bool COIDCHelper::mayProceed(TokenTaskData& data, const COIDCToken& stored) const {
    if (!data.processLock->tryLock()) {
        return false;
    }
    if (detail::now() >= data.startTime + helperPermitLimit) {
        detail::log(m_logger, ELogLevel::Flow,
                    L"Giving up waiting for others to refresh the token.");
    } else if (!data.helperLock->tryLock()) {
        return false;
    }
    // After a failed refresh another one, outside the permits, may be about to store its token.
    return data.lastRefreshToken.IsEmpty() || data.lastRefreshToken != stored.refreshToken() ||
           detail::now() >= data.lastRefreshTime + failedRefreshPause;
}

void COIDCHelper::TryCatchMakeToken(const Concurrency::task<Made>& step, const TaskData& data) {
    try {
        const Made made = step.get();
        if (made.first) {
            data->resultEvent.set(made.second);
        }
    } catch (...) {
        data->resultEvent.set_exception(std::current_exception());
    }
}

Concurrency::task<COIDCHelper::Made> COIDCHelper::scheduleRetryhMakeToken(
    std::chrono::milliseconds delay, const TaskData& data, const cancellation_token& token) {
    const Concurrency::task_completion_event<void> due;
    const auto timer = std::make_shared<platform::OneShotTimer>(delay, [due] { due.set(); });
    // The token is asked by the step itself: a continuation that carried it could end the request
    // while the next step, already scheduled, goes on with it.
    Concurrency::create_task(due)
        .then(
            [this, timer, data, token] {
                if (token.is_canceled()) {
                    throw Concurrency::task_canceled();
                }
                return TryMakeToken(data, token);
            },
            platform::blocking())
        .then([data](const Concurrency::task<Made>& step) { TryCatchMakeToken(step, data); },
              platform::inlined());
    return Concurrency::task_from_result(Made{false, {}});
}

Concurrency::task<COIDCHelper::Made> COIDCHelper::refreshToken(const TaskData& data,
                                                               COIDCToken stored,
                                                               const cancellation_token& token) {
    const CString sent = stored.refreshToken();
    const CString scopes = stored.scopes();
    detail::log(m_logger, ELogLevel::Detail,
                L"Refreshing token...  url = %s, clientID = %s, scopes = %s, rtoken = %s.",
                data->configUrl, data->clientId, data->scopes, sent);
    return constructAsync(data->configUrl, m_logger, token)
        .then(
            [this, data, sent, scopes, token](const Holder& holder) {
                return holder->get()
                    .refreshTokenAsync(data->clientId, scopes, sent, token)
                    .then(
                        [=](const Concurrency::task<COIDCToken>& refreshed) {
                            holder->reset();
                            return refreshOutcome(refreshed, data, sent, token);
                        },
                        inAnyCase());
            },
            inAnyCase());
}

Concurrency::task<COIDCHelper::Made> COIDCHelper::refreshOutcome(
    const Concurrency::task<COIDCToken>& refreshed, const TaskData& data,
    const CString& sentRefreshToken, const cancellation_token& token) {
    COIDCToken received;
    try {
        received = refreshed.get();
    } catch (...) {
        logFailedRefresh(m_logger);
        data->lastRefreshToken = sentRefreshToken;
        data->lastRefreshTime = detail::now();
        return scheduleRetryhMakeToken(retryDelay, data, token);
    }
    saveToken(received);
    detail::log(m_logger, ELogLevel::Detail, L"Token has been successfully refreshed.");
    return Concurrency::task_from_result(Made{true, std::move(received)});
}

Concurrency::task<COIDCToken> COIDCHelper::requestTokenHybridAsync(
    const CString& configUrl, const CString& clientId, const CString& scopes,
    const std::vector<CString>& redirectUrls, const cancellation_token& token) {
    detail::log(m_logger, ELogLevel::Detail,
                L"Requesting hybrid authentication using config url = %s, clientID = %s, scopes = "
                L"%s, redirect url = %s.",
                configUrl, clientId, scopes, firstOf(redirectUrls));
    return constructAsync(configUrl, m_logger, token, m_openBrowser)
        .then(
            [this, clientId, scopes, redirectUrls, token](const Holder& holder) {
                return holder->get()
                    .requestTokenHybridFlowAsync(clientId, scopes, redirectUrls, token,
                                                 signInSeconds)
                    .then(
                        [this, holder](COIDCToken received) {
                            holder->reset();
                            detail::log(
                                m_logger, ELogLevel::Detail,
                                L"Hybrid authentication performed successfully, token received.");
                            saveToken(received);
                            return received;
                        },
                        inAnyCase());
            },
            inAnyCase());
}

bool COIDCHelper::loadStoredToken(bool reread, COIDCToken& token) noexcept {
    try {
        std::vector<std::uint8_t> bytes;
        m_tokenStore->read(bytes, reread);
        if (bytes.empty()) {
            return false;
        }
        CMemoryArchive archive(bytes);
        token.Serialize(archive);
        archive.Close();
        return true;
    } catch (...) {
        return false;
    }
}

void COIDCHelper::saveToken(COIDCToken& token) {
    CMemoryArchive archive;
    token.Serialize(archive);
    archive.Close();
    m_tokenStore->write(archive.detachCompressedData());
}

}  // namespace auth
