#include "auth/detail/Clock.h"
#include "auth/detail/Error.h"
#include "auth/detail/ProviderWords.h"
#include "fuzz/Documented.h"
#include "fuzz/Flows.h"
#include "fuzz/Provider.h"
#include "fuzz/Require.h"

#include <cpprest/http_client.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

// The input is the token endpoint's answer: a content type, a newline, a body. In the body, <id>
// and <access> are replaced by tokens signed by the provider, which no mutation could produce. The
// whole input is also used as an answer other than 200.

namespace {

using auth::COIDCToken;
using auth::detail::Error;
using fuzz::Answer;

constexpr const char* scope = "openid";

/// Empty for a refusal.
using Outcome = std::optional<COIDCToken>;

const std::string& idToken() {
    static const auto token =
        fuzz::signedToken(R"({"alg":"RS256","kid":"key"})",
                          R"({"iss":"https://id.test","aud":"client","exp":1700000060})");
    return token;
}

const std::string& accessToken() {
    static const auto token =
        fuzz::signedToken(R"({"alg":"RS256","kid":"key"})",
                          R"({"iss":"https://id.test","client_id":"client","exp":1700000060})");
    return token;
}

void replaceAll(std::string& text, const std::string& name, const std::string& value) {
    for (auto at = text.find(name); at != std::string::npos;
         at = text.find(name, at + value.size())) {
        text.replace(at, name.size(), value);
    }
}

template <class Request>
Outcome outcomeOf(const Answer& answer, const Request& request) {
    fuzz::replay({answer});
    Outcome outcome;
    fuzz::completesWithTokens<Error, web::http::http_exception, web::json::json_exception>(
        [&] { outcome = request(Concurrency::cancellation_token::none()).get(); });
    return outcome;
}

/// The members of one object, parsed a second time by another library. A name can occur twice, and
/// then the parser decides which value counts.
class Members : public picojson::deny_parse_context {
public:
    static bool parse_object_start() { return true; }
    static bool parse_object_stop() { return true; }

    template <class Iterator>
    bool parse_object_item(picojson::input<Iterator>& in, const std::string& name) {
        picojson::value value;
        picojson::default_parse_context context(&value);
        const bool read = picojson::_parse(context, in);
        m_values.emplace(name, std::move(value));
        return read;
    }

    bool say(const char* name, const CString& text) const {
        return anyOf(name, [expected = picojson::value(text.toUtf8())](
                               const picojson::value& value) { return value == expected; });
    }

    bool lacksText(const char* name) const {
        const auto isOther = [](const auto& value) { return !value.template is<std::string>(); };
        return m_values.count(name) == 0 || anyOf(name, isOther);
    }

    /// If an integer does not fit into 32 bits, its lower bits count.
    bool say(const char* name, std::chrono::seconds duration) const {
        return anyOf(name, [&](const picojson::value& value) {
            using Limits = std::numeric_limits<int>;
            const double number = value.is<double>() ? std::trunc(value.get<double>()) : 0.5;
            const bool fits = number <= Limits::max() && number >= Limits::min();
            const bool isWhole = std::abs(number) < std::ldexp(1.0, 64);
            return fits ? number == std::chrono::duration<double>(duration).count()
                        : isWhole || duration.count() == Limits::min();
        });
    }

private:
    template <class Test>
    bool anyOf(const char* name, const Test& test) const {
        const auto [begin, end] = m_values.equal_range(name);
        return std::any_of(begin, end, [&](const auto& each) { return test(each.second); });
    }

    std::multimap<std::string, picojson::value> m_values;
};

/// Empty for an answer with a number that does not fit in this library, or with white space that it
/// does not accept.
std::optional<Members> readAgain(const std::string& json) {
    Members members;
    std::string error;
    const bool isRead = fuzz::completes<std::overflow_error>(
        [&] { picojson::_parse(members, json.begin(), json.end(), &error); });
    return isRead && error.empty() ? std::optional(members) : std::nullopt;
}

/// The members that every flow uses.
void checkCommon(const COIDCToken& token, const Members& answer) {
    const auto lifetime =
        std::chrono::duration_cast<std::chrono::seconds>(token.expiresAt() - auth::detail::now());
    fuzz::require(answer.say("token_type", CString("Bearer")));
    fuzz::require(answer.say("access_token", token.accessToken()));
    fuzz::require(answer.say("expires_in", lifetime));
    fuzz::require(token.validateClientID(fuzz::clientId) && COIDCToken(token).scopes() == scope);
}

void checkService(const COIDCToken& token, const Members& answer) {
    checkCommon(token, answer);
    fuzz::require(token.idToken().IsEmpty() && token.refreshToken().IsEmpty());
}

void checkHybrid(const COIDCToken& token, const Members& answer) {
    checkCommon(token, answer);
    fuzz::require(answer.say("id_token", token.idToken()));
    fuzz::require(answer.say("refresh_token", token.refreshToken()) ||
                  (token.refreshToken().IsEmpty() && answer.lacksText("refresh_token")));
}

bool beginsWith(const CString& text, const std::string& head) {
    return text.toUtf8().compare(0, head.size(), head) == 0;
}

bool areEqual(const COIDCToken& a, const COIDCToken& b) {
    return a.accessToken() == b.accessToken() && a.refreshToken() == b.refreshToken() &&
           a.idToken() == b.idToken() && a.expiresAt() == b.expiresAt();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static auto& credentialsFlow = fuzz::clientCredentials();
    static auto& hybridFlow = fuzz::hybridFlow();
    const auto words = auth::detail::wordsOfAnswer({data, data + size});
    for (const std::string& text : {words.error, words.description}) {
        fuzz::require(auth::detail::showable(text) == text);
    }
    Answer answer = fuzz::answerOf(std::string(reinterpret_cast<const char*>(data), size));
    replaceAll(answer.body, "<id>", idToken());
    replaceAll(answer.body, "<access>", accessToken());

    const Outcome service = outcomeOf(answer, [](const auto& token) {
        return credentialsFlow.requestTokenAsync(fuzz::clientId, "secret", scope, token);
    });
    const Outcome redeemed = outcomeOf(answer, [](const auto& token) {
        return hybridFlow.requestTokenByAuthCodeAsync(fuzz::clientId, scope, "http://localhost/",
                                                      "verifier", "code", token);
    });
    const Outcome refreshed = outcomeOf(answer, [](const auto& token) {
        return hybridFlow.refreshTokenAsync(fuzz::clientId, scope, "token", token);
    });

    fuzz::require(redeemed.has_value() == refreshed.has_value());
    if (redeemed) {
        fuzz::require(areEqual(*redeemed, *refreshed));
        fuzz::require(beginsWith(redeemed->idToken(), idToken()));
        fuzz::require(beginsWith(redeemed->accessToken(), accessToken()));
        fuzz::require(service.has_value());  // it requires less
    }
    // In other character sets there is nothing else to parse.
    const auto members =
        answer.contentType == "application/json" ? readAgain(answer.body) : std::nullopt;
    if (members && service) {
        checkService(*service, *members);
    }
    if (members && redeemed) {
        checkHybrid(*redeemed, *members);
    }
    return 0;
}
