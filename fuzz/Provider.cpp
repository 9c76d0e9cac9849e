#include "fuzz/Provider.h"

#include <memory>

namespace fuzz {

namespace {

class Nowhere final : public LoggingUtilities::ILoggerImpl {
public:
    void write(LoggingUtilities::ELogLevel /*level*/, const CString& /*line*/) override {}
};

}  // namespace

Answer goodDiscoveryDocument() {
    Answer answer;
    answer.body = R"({
        "issuer": "https://id.test",
        "authorization_endpoint": "https://id.test/auth",
        "token_endpoint": "https://id.test/token",
        "jwks_uri": "https://id.test/keys",
        "scopes_supported": ["openid"],
        "response_types_supported": ["code id_token"],
        "response_modes_supported": ["form_post"],
        "grant_types_supported": ["authorization_code", "refresh_token", "client_credentials"],
        "id_token_signing_alg_values_supported": ["RS256"]
    })";
    return answer;
}

Answer keySetOf(const std::string& jwk) {
    Answer answer;
    answer.body = R"({"keys":[)" + jwk + "]}";
    return answer;
}

auth::detail::LoggerPtr logger() {
    static const auto logger =
        std::make_shared<LoggingUtilities::CLogger>(std::make_shared<Nowhere>());
    return logger;
}

}  // namespace fuzz
