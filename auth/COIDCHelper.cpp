#include "auth/COIDCHelper.h"

#include "auth/COIDCAuthClientCredentials.h"
#include "auth/detail/Log.h"
#include "auth/detail/Waiting.h"
#include "host/CMemoryArchive.h"
#include "platform/TaskScheduler.h"

#include <boost/optional.hpp>

#include <cstdint>
#include <utility>
#include <vector>

namespace auth {

using Concurrency::cancellation_token;
using detail::ELogLevel;

namespace {

// Made while the library is loaded, so that all of the process have the same one.
const std::shared_ptr<IExclusivePermit> processPermit = ExclusivePermit::make();

}  // namespace

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
    const auto holder = std::make_shared<boost::optional<COIDCAuthClientCredentials>>();
    // The construction cannot be cancelled. It has a task and what it needs of its own, so that a
    // request that is cancelled meanwhile ends at once.
    detail::waitUnlessCancelled(Concurrency::create_task(
                                    [holder, configUrl, logger = m_logger] {
                                        holder->emplace(configUrl, logger,
                                                        CString("client_credentials"));
                                    },
                                    platform::blocking()),
                                token);
    return holder->get()
        .requestTokenAsync(clientId, clientSecret, scopes, token)
        .then(
            [this, holder](COIDCToken received) {
                holder->reset();
                detail::log(m_logger, ELogLevel::Detail,
                            L"Client authentication performed successfully, token received.");
                saveToken(received);
                return received;
            },
            platform::blocking());
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
