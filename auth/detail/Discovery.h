#pragma once

#include "auth/detail/HttpExchange.h"
#include "auth/detail/Json.h"
#include "auth/detail/Log.h"
#include "host/CString.h"

#include <cpprest/json.h>

#include <set>

namespace auth::detail {

/// Fetches a provider's configuration (OpenID Connect Discovery 1.0). Blocks until it has arrived
/// or the token is cancelled, and throws the failure. `refusal` is the text of the exception for an
/// answer other than 200.
JsonAnswer receiveConfiguration(HttpExchange& http, const CString& configUrl,
                                const LoggerPtr& logger, const char* refusal,
                                const Concurrency::cancellation_token& token);

// Members of a configuration; they throw as textMember() does.

std::set<CString> scopesSupported(const web::json::value& configuration);
bool listsValue(const web::json::value& configuration, const utility::char_t* name,
                const CString& value);

}  // namespace auth::detail
