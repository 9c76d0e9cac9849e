#pragma once

#include "auth/detail/HttpExchange.h"
#include "host/CString.h"

#include <cpprest/json.h>

#include <memory>

namespace auth::detail {

/// Shared, because each task copies its result: even two copies of a hostile answer are too many.
using JsonAnswer = std::shared_ptr<web::json::value>;

/// The required content type of an answer.
enum class JsonType { Json, Any };

/// The JSON of an answer whose body has arrived.
JsonAnswer extractJson(const web::http::http_response& answer, JsonType type);

/// Sends the request and returns the JSON answer. `checkHead` is that of HttpExchange. Never
/// throws.
Concurrency::task<JsonAnswer> sendForJson(HttpExchange& http, const HttpRequest& request,
                                          const Concurrency::cancellation_token& token,
                                          HttpExchange::CheckHead checkHead);

/// If the member is missing or has another type, throws the JSON library's exception; if the text
/// is not UTF-8, which that library does not check, throws std::range_error.
CString textMember(const web::json::value& object, const utility::char_t* name);

}  // namespace auth::detail
