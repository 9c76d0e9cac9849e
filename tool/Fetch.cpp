#include "tool/Fetch.h"

#include "auth/detail/Error.h"
#include "auth/detail/Fetch.h"
#include "tool/Asking.h"

namespace tool {

namespace {

using web::http::http_exception;
using web::http::http_response;

void requireOk(const http_response& response) {
    if (response.status_code() != web::http::status_codes::OK) {
        throw http_exception("answered with status " + std::to_string(response.status_code()) +
                             "; check the URL");
    }
}

}  // namespace

FetchedJson fetchJson(const std::string& url, const utility::string_t& otherType,
                      const Concurrency::cancellation_token& token) {
    using Clock = std::chrono::system_clock;
    const web::uri target(utility::conversions::to_string_t(url));
    FetchedJson fetched;
    const auto checkHead = [&fetched](const http_response& response) {
        fetched.answeredAt = Clock::now();
        requireOk(response);
    };
    fetched.askedAt = Clock::now();
    try {
        const auto response = auth::detail::fetch(target, token, checkHead).get();
        fetched.headers = response.headers();
        const auto type = fetched.headers.content_type();
        fetched.document =
            response
                .extract_json(!otherType.empty() && type.find(otherType) != utility::string_t::npos)
                .get();
        return fetched;
    } catch (const http_exception& error) {
        throw named(error, url);
    } catch (const auth::detail::Error& error) {
        throw named(http_exception(error.what()), url);
    }
}

}  // namespace tool
