#include "tool/Issuer.h"

#include "auth/COIDCToken.h"
#include "tool/Fetch.h"
#include "tool/Output.h"
#include "tool/TokenRecord.h"

#include <chrono>
#include <optional>
#include <stdexcept>

namespace tool {

namespace {

/// 30 s above the library's own limit, so that the library does not ask the provider without this
/// check.
bool serves(const auth::COIDCToken& token, const RequestOptions& request,
            unsigned int minValidity) {
    const auto now = auth::COIDCToken::TimePoint::clock::now();
    return token.validateClientID({request.record.clientId}) &&
           token.validateScopes({request.scopes}) &&
           token.expiresAt() - now > std::chrono::minutes(minValidity) + std::chrono::seconds(30);
}

}  // namespace

std::optional<Concurrency::task<void>> confirmIssuer(
    const RequestOptions& request, unsigned int minValidity, PlainStore& store,
    const Concurrency::cancellation_token& cancellation) {
    const std::string issuer = request.record.provider.issuer;
    const auto token = issuer.empty() ? std::nullopt : storedToken(store);
    if (issuer.empty() || (token && serves(*token, request, minValidity))) {
        return std::nullopt;
    }
    return Concurrency::create_task(
        [issuer, url = request.record.provider.url(), cancellation] {
            const auto configuration = fetchJson(url, {}, cancellation).document;
            const utility::string_t name = _XPLATSTR("issuer");
            if (!configuration.has_string_field(name) ||
                utility::conversions::to_utf8string(configuration.at(name).as_string()) != issuer) {
                throw std::runtime_error("the configuration at " + url +
                                         " does not name the issuer given by --issuer");
            }
        },
        cancellation);
}

}  // namespace tool
