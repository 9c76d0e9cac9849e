#pragma once

#include "auth/COIDCToken.h"
#include "auth/detail/HttpExchange.h"
#include "auth/detail/Log.h"
#include "host/CString.h"
#include "platform/Tasks.h"

#include <cpprest/json.h>

#include <set>

namespace auth {

/// The client credentials grant (RFC 6749, section 4.4) at one provider. Callers notice no change
/// after construction, so that any thread may use it.
class COIDCAuthClientCredentials {
public:
    /// Blocks until the provider's configuration has been received and checked. Throws if that
    /// fails or `token` is cancelled.
    COIDCAuthClientCredentials(
        const CString& configUrl, const detail::LoggerPtr& logger, const CString& grantType,
        const Concurrency::cancellation_token& token = Concurrency::cancellation_token::none());

    /// Requests a token; `scope` is sent as it is. This object must outlive the task. Never throws:
    /// every failure is in the task.
    Concurrency::task<COIDCToken> requestTokenAsync(const CString& clientId,
                                                    const CString& clientSecret,
                                                    const CString& scope,
                                                    const Concurrency::cancellation_token& token);

private:
    void loadConfiguration(const web::json::value& configuration);
    COIDCToken extractClientCredentialsToken(const web::json::value& answer,
                                             const CString& clientId, const CString& scope) const;

    CString m_grantType;
    CString m_issuer;
    CString m_authorizationEndpoint;
    CString m_tokenEndpoint;
    CString m_jwksUri;  // stays empty: the token of this grant is not validated
    std::set<CString> m_scopesSupported;
    detail::LoggerPtr m_logger;
    detail::HttpExchange m_http;
};

}  // namespace auth
