#include "auth/COIDCHelper.h"

#include "auth/COIDCAuthClientCredentials.h"
#include "auth/ExclusivePermit.h"
#include "auth/IRefreshAwareStore.h"
#include "auth/detail/Arguments.h"
#include "auth/detail/FirstOutcome.h"
#include "auth/detail/Log.h"
#include "auth/detail/Text.h"
#include "auth/detail/TokenTaskData.h"
#include "auth/detail/Turns.h"
#include "auth/detail/Waiting.h"
#include "host/CMemoryArchive.h"
#include "platform/Browser.h"
#include "platform/TaskScheduler.h"

namespace auth {

using Concurrency::cancellation_token;
using detail::ELogLevel;

namespace {

// Created when the library is loaded, so that the whole process has the same one.
const std::shared_ptr<IExclusivePermit> processPermit = ExclusivePermit::make();

}  // namespace

COIDCHelper::COIDCHelper(std::unique_ptr<ISecretStore<COIDCToken>> tokenStore,
                         std::shared_ptr<IExclusivePermit> permit,
                         const std::shared_ptr<LoggingUtilities::CLogger>& logger)
    : m_tokenStore(std::move(tokenStore)),
      m_turns(std::make_unique<detail::Turns>()),
      m_logger(logger),
      m_permit(std::move(permit)) {
    if (!m_tokenStore) {
        detail::fail(m_logger, {detail::Kind::store, "token store should be specified"},
                     L"Unable to create authenticator helper. Token store not specified.");
    }
    if (m_permit == processPermit) {
        detail::log(m_logger, ELogLevel::Warning,
                    L"The helper's permit is the one of the process: requests wait 25 s for it.");
    }
}

COIDCHelper::~COIDCHelper() = default;

std::shared_ptr<IExclusivePermit> COIDCHelper::getProcessExclusivePermit() {
    return processPermit;
}

std::shared_ptr<IExclusivePermit> COIDCHelper::makeExclusivePermit() {
    return ExclusivePermit::make();
}

/// `arguments` returns the request's arguments, or throws; the task's result is what `part`
/// extracts from the token.
template <class T, class Arguments, class Part>
Concurrency::task<T> COIDCHelper::requestService(const Arguments& arguments,
                                                 const cancellation_token& token, Part part) {
    return detail::started([&] {
        const detail::ServiceArguments asked = arguments();
        detail::log(m_logger, ELogLevel::Flow,
                    L"Obtaining oidc token using config url = %s, client id = %s, scopes = %s",
                    asked.configUrl, asked.clientId, asked.scopes);
        return detail::inBackground<T>(
            [this, asked, token, part] { return part(serveClientCredentials(asked, token)); });
    });
}

CString COIDCHelper::getAccessTokenClientCredentials(const CString& configUrl,
                                                     const CString& clientId,
                                                     const CString& clientSecret,
                                                     const CString& scopes,
                                                     unsigned int minValidity) {
    return detail::awaited(getAccessTokenClientCredentialsAsync(
        configUrl, clientId, clientSecret, scopes, minValidity, cancellation_token::none()));
}

CString COIDCHelper::getAccessTokenClientCredentials(const ServiceRequest& request) {
    return detail::awaited(getAccessTokenClientCredentialsAsync(request));
}

COIDCToken COIDCHelper::getOIDCTokenClientCredentials(const ServiceRequest& request) {
    return detail::awaited(getOIDCTokenClientCredentialsAsync(request));
}

Concurrency::task<CString> COIDCHelper::getAccessTokenClientCredentialsAsync(
    const CString& configUrl, const CString& clientId, const CString& clientSecret,
    const CString& scopes, unsigned int minValidity, const cancellation_token& token) {
    return requestService<CString>(
        [&] {
            return detail::ServiceArguments{configUrl, clientId, clientSecret, scopes, minValidity};
        },
        token, detail::accessTokenOf);
}

Concurrency::task<CString> COIDCHelper::getAccessTokenClientCredentialsAsync(
    const ServiceRequest& request, const cancellation_token& token) {
    return requestService<CString>([&] { return detail::argumentsOf(request); }, token,
                                   detail::accessTokenOf);
}

Concurrency::task<COIDCToken> COIDCHelper::getOIDCTokenClientCredentialsAsync(
    const ServiceRequest& request, const cancellation_token& token) {
    return requestService<COIDCToken>([&] { return detail::argumentsOf(request); }, token,
                                      detail::wholeOf);
}

COIDCToken COIDCHelper::serveClientCredentials(const detail::ServiceArguments& asked,
                                               const cancellation_token& token) {
    const detail::Turns::Turn turn = m_turns->take(token);
    StoredRecord stored = loadStoredToken(false);
    if (stored.isLoaded && stored.token.validateScopes(asked.scopes) &&
        stored.token.validateClientID(asked.clientId) &&
        !stored.token.willBeExpiredAfter(asked.minValidity)) {
        return std::move(stored.token);
    }
    detail::log(m_logger, ELogLevel::Detail,
                L"Stored token is invalid or expired or does not exists.");
    return requestTokenClientCredentialsAsync(asked.configUrl, asked.clientId, asked.clientSecret,
                                              asked.scopes, token, stored.signOuts)
        .get();
}

Concurrency::task<COIDCToken> COIDCHelper::requestTokenClientCredentialsAsync(
    const CString& configUrl, const CString& clientId, const CString& clientSecret,
    const CString& scopes, const cancellation_token& token, std::uint64_t signOuts) {
    detail::log(
        m_logger, ELogLevel::Detail,
        L"Requesting client authentication using config url = %s, clientID = %s, scopes = %s.",
        configUrl, clientId, scopes);
    // All of this runs on the current thread: if the system has no more threads, a continuation on
    // another thread might never run, because the existing ones wait for their turn.
    COIDCToken received;
    {
        COIDCAuthClientCredentials client(configUrl, m_logger, "client_credentials", token);
        received = client.requestTokenAsync(clientId, clientSecret, scopes, token).get();
    }
    detail::log(m_logger, ELogLevel::Detail,
                L"Client authentication performed successfully, token received.");
    saveToken(received, signOuts);
    return Concurrency::task_from_result(std::move(received));
}

void COIDCHelper::setBrowserOpener(BrowserOpener open) {
    m_openBrowser = std::move(open);
}

bool COIDCHelper::openBrowser(const CString& url) {
    return platform::openBrowser(detail::toHttpText(url));
}

COIDCHelper::StoredRecord COIDCHelper::loadStoredToken(bool reread) const noexcept {
    StoredRecord record;
    record.signOuts = m_signOuts;
    try {
        m_tokenStore->read(record.bytes, reread);
        record.isRead = true;
        if (!record.bytes.empty()) {
            CMemoryArchive archive(record.bytes);
            record.token.Serialize(archive);
            archive.Close();
            record.isLoaded = true;
        }
    } catch (...) {
        // Members that were read before the failure must not influence any decision.
        record.token = {};
    }
    return record;
}

void COIDCHelper::saveToken(COIDCToken& token, std::uint64_t signOuts, bool isRefreshed) {
    CMemoryArchive archive;
    token.Serialize(archive);
    archive.Close();
    {
        const std::lock_guard<std::mutex> lock(m_writing);
        if (m_signOuts == signOuts) {
            write(archive.detachCompressedData(), isRefreshed);
            return;
        }
    }
    detail::log(m_logger, ELogLevel::Detail, L"Signed out meanwhile, token is not stored.");
}

void COIDCHelper::write(const std::vector<std::uint8_t>& bytes, bool isRefreshed) {
    auto* const aware = dynamic_cast<IRefreshAwareStore*>(m_tokenStore.get());
    if (isRefreshed && aware != nullptr) {
        aware->writeRefreshed(bytes);
    } else {
        m_tokenStore->write(bytes);
    }
}

void COIDCHelper::signOut() {
    detail::awaited(signOutAsync(cancellation_token::none()));
}

Concurrency::task<void> COIDCHelper::signOutAsync(const cancellation_token& token) {
    return detail::started([&] {
        detail::log(m_logger, ELogLevel::Flow, L"Signing out...");
        return detail::actInBackground([this, token] { emptyStore(token); });
    });
}

void COIDCHelper::emptyStore(const cancellation_token& token) {
    Permits permits = newPermits();
    while (!takePermits(permits)) {
        detail::sleepFor(detail::retryDelay, token);
    }
    {
        const std::lock_guard<std::mutex> lock(m_writing);
        if (detail::isInterrupted(token)) {
            throw Concurrency::task_canceled();
        }
        // Not the store's clear(): the library only ever reads and writes a store. The sign-out is
        // counted only after the write has worked: if it fails, nobody is signed out, and received
        // tokens are kept.
        m_tokenStore->write({});
        ++m_signOuts;
    }
    detail::log(m_logger, ELogLevel::Detail, L"Stored token has been removed.");
}

}  // namespace auth
