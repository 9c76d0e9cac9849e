#pragma once

#include "platform/Tasks.h"

#include <cpprest/http_headers.h>
#include <cpprest/json.h>

#include <chrono>
#include <string>

namespace tool {

struct FetchedJson {
    web::json::value document;
    web::http::http_headers headers;
    std::chrono::system_clock::time_point askedAt;
    std::chrono::system_clock::time_point answeredAt;  ///< when the head of the answer arrived
};

/// Gets a JSON document as the library would: through the host's proxy, without following
/// redirects, and with the same limits for size and time. `otherType` is a content type that is
/// accepted as JSON, or empty. Throws http_exception with the URL's host in its text, and with a
/// system error code if the document was not received; json_exception if it is not JSON; and
/// task_canceled.
FetchedJson fetchJson(const std::string& url, const utility::string_t& otherType,
                      const Concurrency::cancellation_token& token);

}  // namespace tool
