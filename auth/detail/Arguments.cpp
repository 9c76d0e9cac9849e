#include "auth/detail/Arguments.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace auth::detail {

namespace {

unsigned int minutesOf(std::chrono::minutes validity) {
    // A larger value would become negative, and expired tokens would be used.
    if (validity.count() < 0 || validity.count() > std::numeric_limits<std::int32_t>::max()) {
        throw RefusedArgument("minimum validity should be between 0 and 2147483647 minutes");
    }
    return static_cast<unsigned int>(validity.count());
}

/// Some providers ignore case in parameter names.
std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

bool isReserved(const std::string& name) {
    constexpr std::array<std::string_view, 18> reserved{
        // parameters of the flow
        "response_type", "nonce", "state", "code_challenge", "code_challenge_method", "client_id",
        "scope", "redirect_uri", "response_mode",
        // parameters that would replace those (RFC 9101)
        "request", "request_uri",
        // parameters of the token endpoint: others can read this URL
        "grant_type", "code", "code_verifier", "refresh_token", "client_secret", "client_assertion",
        "client_assertion_type"};
    return std::find(reserved.begin(), reserved.end(), lowerCase(name)) != reserved.end();
}

}  // namespace

ServiceArguments argumentsOf(const ServiceRequest& request) {
    return {request.configUrl, request.clientId, request.clientSecret, request.scopes,
            minutesOf(request.minValidity)};
}

UserArguments argumentsOf(const UserRequest& request) {
    UserArguments arguments{request.configUrl,
                            request.clientId,
                            request.scopes,
                            {request.redirectUrls.begin(), request.redirectUrls.end()},
                            minutesOf(request.minValidity),
                            request.mayAskUser};
    for (const auto& [name, value] : request.authorizationParameters) {
        if (name.empty()) {
            throw RefusedArgument("authorization parameter should have a name");
        }
        if (isReserved(name)) {
            throw RefusedArgument("authorization parameter is reserved: " + name);
        }
        arguments.authorizationParameters.emplace_back(name, value);
    }
    return arguments;
}

}  // namespace auth::detail
