#pragma once

#include "auth/detail/HttpExchange.h"
#include "host/CString.h"

#include <cpprest/json.h>

#include <memory>

namespace auth::detail {

/// Shared, since each task copies what it passes on: of a hostile answer even two copies are much.
using JsonAnswer = std::shared_ptr<web::json::value>;

/// What an answer's content type has to be.
enum class JsonType { Json, Any };

/// The JSON of an answer whose body is there.
JsonAnswer extractJson(const web::http::http_response& answer, JsonType type);

/// Sends the request and gives the JSON answer. `checkHead` as for HttpExchange; never throws.
Concurrency::task<JsonAnswer> sendForJson(HttpExchange& http, const HttpRequest& request,
                                          const Concurrency::cancellation_token& token,
                                          HttpExchange::CheckHead checkHead);

/// A missing member, or one of another type, raises the JSON library's exception; a text that is no
/// UTF-8, which that library lets pass, std::range_error.
CString textMember(const web::json::value& object, const utility::char_t* name);

}  // namespace auth::detail
