#pragma once

#include "auth/COIDCToken.h"
#include "auth/ExclusivePermit.h"
#include "host/CLogger.h"
#include "host/CString.h"
#include "host/ISecretStore.h"
#include "platform/Export.h"
#include "platform/Tasks.h"

#include <exception>
#include <memory>
#include <mutex>
#include <string>

namespace auth {

/// Only the user could provide a token by signing in, and the caller did not allow to ask.
class OIDCAUTH_API RequiresUserAuthException : public std::exception {
public:
    explicit RequiresUserAuthException(std::string text);
    const char* what() const noexcept override;

private:
    std::string m_text;
};

/// Gets tokens: from its store while they serve, from the provider otherwise.
///
/// Operations may be called from any thread. Those named ...Async return a task at once, the others
/// block until that task has ended. The helper must outlive every task that it returned. A failure
/// is an exception in the task: std::exception with a short text for what the provider refused or
/// answered wrongly, the exceptions of the HTTP and JSON libraries as they are, what the token
/// store threw when it was written, and task_canceled after cancellation. Nobody need read a task's
/// outcome.
///
/// Configuration URLs name a provider's configuration document (OpenID Connect Discovery 1.0).
/// Scopes are one text, separated by spaces. `minValidity` is in minutes: a stored token serves
/// while it will not expire within them.
class OIDCAUTH_API COIDCHelper {
public:
    /// Throws std::exception when the store is empty. The permit may be shared with other helpers;
    /// the logger may be empty.
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

    /// The one permit of this process.
    static std::shared_ptr<IExclusivePermit> getProcessExclusivePermit();
    /// A new permit, for the helpers that are to be co-ordinated.
    static std::shared_ptr<IExclusivePermit> makeExclusivePermit();

private:
    bool loadStoredToken(bool reread, COIDCToken& token) noexcept;
    void saveToken(COIDCToken& token);

    CString serveClientCredentials(const CString& configUrl, const CString& clientId,
                                   const CString& clientSecret, const CString& scopes,
                                   unsigned int minValidity,
                                   const Concurrency::cancellation_token& token);
    Concurrency::task<COIDCToken> requestTokenClientCredentialsAsync(
        const CString& configUrl, const CString& clientId, const CString& clientSecret,
        const CString& scopes, const Concurrency::cancellation_token& token);

    std::unique_ptr<ISecretStore<COIDCToken>> m_tokenStore;
    std::mutex m_mutex;  // held for the whole of a client-credentials request
    std::shared_ptr<LoggingUtilities::CLogger> m_logger;
    std::shared_ptr<IExclusivePermit> m_permit;
};

}  // namespace auth
