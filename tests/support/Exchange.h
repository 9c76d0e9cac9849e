#pragma once

#include "auth/detail/HttpExchange.h"
#include "testing/TestProvider.h"
#include "tests/support/Outcome.h"
#include "tests/support/Test.h"
#include "tests/support/Wide.h"

namespace test {

using auth::detail::HttpExchange;
using auth::detail::HttpRequest;
using namespace auth::testing;
using Concurrency::cancellation_token;
using Concurrency::cancellation_token_source;

inline HttpRequest to(const std::string& url) {
    return {to_string_t(url), {}, {}};
}

inline const auto anyHead = [](const web::http::http_response&) {};

inline std::string get(HttpExchange& http, const std::string& url,
                       const cancellation_token& token = cancellation_token::none()) {
    return outcome(http.send(to(url), token, anyHead));
}
inline std::string get(HttpExchange& http, const TestProvider& provider) {
    return get(http, provider.configUrl());
}

inline std::string post(HttpExchange& http, const std::string& url) {
    HttpRequest request = to(url);
    request.headers.set_content_type(to_string_t("application/x-www-form-urlencoded"));
    request.body = "grant_type=client_credentials";
    return outcome(http.send(request, cancellation_token::none(), anyHead));
}
inline std::string post(HttpExchange& http, const TestProvider& provider) {
    return post(http, provider.tokenEndpoint());
}

}  // namespace test
