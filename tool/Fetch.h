#pragma once

#include "platform/Tasks.h"

#include <cpprest/json.h>

#include <string>

namespace tool {

/// Gets a JSON document as the library would: through the host's proxy, without following
/// redirects, and within the same limits of size and time. `otherType` is a content type that
/// passes for JSON, or empty. Throws http_exception, named after the URL, with a system's error
/// code where the document was not received; json_exception for what is no JSON; and task_canceled.
web::json::value fetchJson(const std::string& url, const utility::string_t& otherType,
                           const Concurrency::cancellation_token& token);

}  // namespace tool
