#include "auth/detail/Discovery.h"

#include "auth/detail/Text.h"

#include <algorithm>

namespace auth::detail {

JsonAnswer receiveConfiguration(HttpExchange& http, const CString& configUrl,
                                const LoggerPtr& logger, const char* refusal,
                                const Concurrency::cancellation_token& token) {
    log(logger, ELogLevel::Detail, L"Receiving and validating OIDC configuration...");
    return sendForJson(
               http, {toHttpText(configUrl), {}, {}}, token,
               expectOk(
                   logger, refusal,
                   L"Unable to receive OIDC configuration. Unexpected response (%d) received."))
        .get();
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
