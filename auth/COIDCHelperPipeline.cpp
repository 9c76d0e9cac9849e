// How a hybrid request gets its token: from the store, by a refresh, or from the user.

#include "auth/COIDCAuthHybrid.h"
#include "auth/COIDCHelper.h"
#include "auth/detail/FirstOutcome.h"
#include "auth/detail/Log.h"
#include "auth/detail/TokenTaskData.h"
#include "platform/HttpThreads.h"
#include "platform/TaskScheduler.h"
#include "platform/Timer.h"

#include <boost/optional.hpp>

#include <algorithm>
#include <cstdint>

namespace auth {

using Concurrency::cancellation_token;
using detail::ELogLevel;

namespace {

constexpr std::chrono::seconds helperPermitLimit{25};
constexpr std::chrono::seconds failedRefreshPause{2};
constexpr std::uint32_t signInSeconds = 90;

OIDCFlowSettings hybridSettings() {
    return {"code id_token", "form_post", "authorization_code", "refresh_token", "RS256", "S256"};
}

std::unique_ptr<IPermitLock> lockOf(const std::shared_ptr<IExclusivePermit>& permit) {
    if (!permit) {
        throw detail::Error(detail::Kind::other, "exclusive permit should be specified");
    }
    auto lock = permit->createLock();
    if (!lock) {
        throw detail::Error(detail::Kind::other, "exclusive permit gives no lock");
    }
    return lock;
}

/// For a continuation that must run: although it takes a value, the token that cancels the previous
/// task does not cancel it.
Concurrency::task_options inAnyCase() {
    return platform::blocking(cancellation_token::none());
}

using Holder = std::shared_ptr<boost::optional<COIDCAuthHybrid>>;

/// Creates the protocol object of a hybrid request, which takes a while.
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

/// Call it while an exception is being handled. Returns the failure, if it is known.
std::exception_ptr logFailedRefresh(const detail::LoggerPtr& logger) {
    try {
        throw;
    } catch (const std::exception& error) {
        detail::log(logger, ELogLevel::Warning, L"Failed to refresh token. Reason: %s.",
                    error.what());
        return std::current_exception();
        // A refusal is thrown as a pointer.
        // NOLINTNEXTLINE(cert-err09-cpp,cert-err61-cpp,misc-throw-by-value-catch-by-reference)
    } catch (const OIDCError* refusal) {
        const std::unique_ptr<const OIDCError> owned(refusal);
        detail::log(logger, ELogLevel::Warning, L"Failed to refresh token.");
        return std::make_exception_ptr(*owned);
    } catch (...) {
        detail::log(logger, ELogLevel::Warning, L"Failed to refresh token.");
        return nullptr;
    }
}

/// Nests the failed refresh, if there was one: if the network failed, signing in does not help.
[[noreturn]] void requireUser(const char* text, const std::exception_ptr& failedRefresh) {
    if (!failedRefresh) {
        throw RequiresUserAuthException(text);
    }
    try {
        std::rethrow_exception(failedRefresh);
    } catch (...) {
        std::throw_with_nested(RequiresUserAuthException(text));
    }
}

}  // namespace

COIDCHelper::Permits COIDCHelper::newPermits() const {
    Permits permits;
    permits.processLock = lockOf(getProcessExclusivePermit());
    permits.helperLock = lockOf(m_permit);
    return permits;
}

Concurrency::task<COIDCToken> COIDCHelper::getTokenTask(const TaskData& data,
                                                        const cancellation_token& token) {
    try {
        const auto step = TryMakeToken(data, token);
        if (step.is_done()) {
            TryCatchMakeToken(step, data);
        } else {
            step.then(
                [data](const Concurrency::task<Made>& ended) { TryCatchMakeToken(ended, data); },
                platform::inlined());
        }
    } catch (...) {
        data->permits.release();
        data->resultEvent->fail(std::current_exception());
    }
    return data->resultEvent->task();
}

/// What a stored record can be used for.
struct COIDCHelper::Assessment {
    bool isValid;
    bool isExpired;
    bool mayRefresh;  // if its refresh token was not tried before
    bool refreshes;
    bool pauses;

    bool serves() const { return isValid && !isExpired; }
};

COIDCHelper::Assessment COIDCHelper::assess(const TokenTaskData& data, const StoredRecord& stored) {
    const CString& storedRefreshToken = stored.token.refreshToken();
    const bool isValid = stored.isLoaded && stored.token.validateScopes(data.scopes) &&
                         stored.token.validateClientID(data.clientId);
    const bool isExpired = isValid && stored.token.willBeExpiredAfter(data.minValidity);
    const bool mayRefresh = isExpired && storedRefreshToken != data.lastRefreshToken;
    // After a failed refresh, another request that does not use our permits may be about to store
    // its token.
    const bool pauses = !data.lastRefreshToken.IsEmpty() &&
                        data.lastRefreshToken == storedRefreshToken &&
                        !data.lastRefreshTime.isOver(failedRefreshPause);
    return {isValid, isExpired, mayRefresh, mayRefresh && !storedRefreshToken.IsEmpty(), pauses};
}

Concurrency::task<COIDCHelper::Made> COIDCHelper::useStored(const StoredRecord& stored) const {
    detail::log(m_logger, ELogLevel::Flow, L"Using stored token.");
    return Concurrency::task_from_result(Made{true, stored.token});
}

Concurrency::task<COIDCHelper::Made> COIDCHelper::TryMakeToken(const TaskData& data,
                                                               const cancellation_token& token) {
    StoredRecord stored = loadStoredToken(data->reread);
    Assessment assessed = assess(*data, stored);
    if (assessed.serves()) {
        return useStored(stored);
    }
    if (!data->reread) {
        data->reread = true;
        return TryMakeToken(data, token);
    }

    const int heldBefore = data->permits.held;
    if (!takePermits(data->permits)) {
        return scheduleRetryhMakeToken(detail::retryDelay, data, token);
    }
    if (data->permits.held > heldBefore && (assessed.refreshes || data->authRequested)) {
        // The previous owner of the permit may have stored a token since the read. The refresh
        // token that was read is then used up, and the user need not be asked.
        StoredRecord latest = loadStoredToken(data->reread);
        if (latest.isRead && latest.bytes != stored.bytes) {
            stored = std::move(latest);
            assessed = assess(*data, stored);
        }
        if (assessed.serves()) {
            return useStored(stored);
        }
    }
    if (assessed.pauses) {
        return scheduleRetryhMakeToken(detail::retryDelay, data, token);
    }

    if (!assessed.isValid) {
        detail::log(m_logger, ELogLevel::Detail, L"Stored token is invalid or does not exists.");
    }
    if (assessed.mayRefresh) {
        detail::log(m_logger, ELogLevel::Detail, L"Stored token is expired.");
    }
    if (assessed.refreshes || data->authRequested) {
        platform::requireHttpThreads();  // without them, a request's tasks could not even fail
    }
    // A sign-in that starts now is not affected by earlier sign-outs.
    data->signOuts = assessed.refreshes ? stored.signOuts : m_signOuts.load();
    if (assessed.refreshes) {
        return refreshToken(data, stored.token, token);
    }
    if (data->authRequested) {
        return requestTokenHybridAsync(data->configUrl, data->clientId, data->scopes,
                                       data->redirectUrls, token, data)
            .then(
                [](const COIDCToken& received) {
                    return Made{true, received};
                },
                inAnyCase());
    }
    if (assessed.isExpired) {
        detail::log(m_logger, ELogLevel::Warning,
                    L"Stored token is expired and auth was not requested.");
        requireUser("unable to refresh token", data->failedRefresh);
    }
    detail::log(m_logger, ELogLevel::Warning,
                L"Stored token is invalid or does not exists and auth was not requested.");
    throw RequiresUserAuthException("unable to get token");
}

/// Whether this request has to get a new token.
bool COIDCHelper::takePermits(Permits& permits) const {
    if (!permits.processLock->tryLock()) {
        return false;
    }
    permits.held = std::max(permits.held, 1);
    if (permits.startTime.isOver(helperPermitLimit)) {
        detail::log(m_logger, ELogLevel::Flow,
                    L"Giving up waiting for others to refresh the token.");
        return true;
    }
    if (!permits.helperLock->tryLock()) {
        return false;
    }
    permits.held = 2;
    return true;
}

void COIDCHelper::TryCatchMakeToken(const Concurrency::task<Made>& step, const TaskData& data) {
    try {
        const Made made = step.get();
        if (made.first) {
            data->permits.release();
            data->resultEvent->set(made.second);
        }
    } catch (...) {
        data->permits.release();
        data->resultEvent->fail(std::current_exception());
    }
}

Concurrency::task<COIDCHelper::Made> COIDCHelper::scheduleRetryhMakeToken(
    std::chrono::milliseconds delay, const TaskData& data, const cancellation_token& token) {
    const Concurrency::task_completion_event<void> due;
    const auto wake = [due] { due.set(); };
    const auto timer = std::make_shared<platform::OneShotTimer>(delay, wake);
    const auto interruption = std::make_shared<detail::Interruption>(token, wake);
    // The step itself checks the cancellation token: if the continuation carried it, a cancellation
    // could end the request while the next step, already scheduled, still works on it.
    Concurrency::create_task(due)
        .then(
            [this, timer, interruption, data, token] {
                if (detail::isInterrupted(token)) {
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
                        [this, holder, data, sent,
                         token](const Concurrency::task<COIDCToken>& refreshed) {
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
        data->failedRefresh = logFailedRefresh(m_logger);
        data->lastRefreshToken = sentRefreshToken;
        data->lastRefreshTime = detail::Moment();
        return scheduleRetryhMakeToken(detail::retryDelay, data, token);
    }
    saveToken(received, data->signOuts, true);
    detail::log(m_logger, ELogLevel::Detail, L"Token has been successfully refreshed.");
    return Concurrency::task_from_result(Made{true, std::move(received)});
}

Concurrency::task<COIDCToken> COIDCHelper::requestTokenHybridAsync(
    const CString& configUrl, const CString& clientId, const CString& scopes,
    const std::vector<CString>& redirectUrls, const cancellation_token& token,
    const TaskData& data) {
    detail::log(m_logger, ELogLevel::Detail,
                L"Requesting hybrid authentication using config url = %s, clientID = %s, scopes = "
                L"%s, redirect url = %s.",
                configUrl, clientId, scopes, data->firstRedirectUrl());
    return constructAsync(configUrl, m_logger, token, m_openBrowser)
        .then(
            [this, clientId, scopes, redirectUrls, data, token](const Holder& holder) {
                return holder->get()
                    .requestTokenHybridFlowAsync(clientId, scopes, redirectUrls, token,
                                                 signInSeconds, data->authorizationParameters)
                    .then(
                        [this, holder, data](COIDCToken received) {
                            holder->reset();
                            detail::log(
                                m_logger, ELogLevel::Detail,
                                L"Hybrid authentication performed successfully, token received.");
                            saveToken(received, data->signOuts);
                            return received;
                        },
                        inAnyCase());
            },
            inAnyCase());
}

}  // namespace auth
