#include "auth/detail/Discovery.h"

#include "auth/detail/Text.h"

#include <algorithm>
#include <utility>

namespace auth::detail {

using web::http::http_response;

void receiveConfiguration(HttpExchange& http, const CString& configUrl, const LoggerPtr& logger,
                          const char* refusal, const Concurrency::cancellation_token& token,
                          const std::function<void(const web::json::value&)>& load) {
    log(logger, ELogLevel::Detail, L"Receiving and validating OIDC configuration...");
    auto checkConfigurationResponse =
        expectOk(logger, refusal,
                 L"Unable to receive OIDC configuration. Unexpected response (%d) received.");
    const web::json::value configuration =
        http.send({toHttpText(configUrl), {}, {}}, token, std::move(checkConfigurationResponse))
            .then([](const http_response& response) { return response.extract_json(false); })
            .get();
    load(configuration);
    log(logger, ELogLevel::Detail, L"OIDC configuration received and validated successfully.");
}

CString textMember(const web::json::value& configuration, const utility::char_t* name) {
    return fromHttpText(configuration.at(name).as_string());
}

std::set<CString> scopesSupported(const web::json::value& configuration) {
    std::set<CString> scopes;
    for (const web::json::value& scope :
         configuration.at(_XPLATSTR("scopes_supported")).as_array()) {
        scopes.insert(fromHttpText(scope.as_string()));
    }
    return scopes;
}

bool listsValue(const web::json::value& configuration, const utility::char_t* name,
                const CString& value) {
    const web::json::array& values = configuration.at(name).as_array();
    return std::find(values.begin(), values.end(), web::json::value::string(toHttpText(value))) !=
           values.end();
}

}  // namespace auth::detail
