#pragma once

#include "auth/detail/HttpExchange.h"
#include "auth/detail/Log.h"
#include "host/CString.h"

#include <cpprest/json.h>

#include <functional>
#include <set>

namespace auth::detail {

/// Fetches a provider's configuration (OpenID Connect Discovery 1.0) and hands it to `load`. Blocks
/// until both are done or the token is cancelled; an exception of either comes out. `refusal` is
/// the text of the exception for an answer other than 200.
void receiveConfiguration(HttpExchange& http, const CString& configUrl, const LoggerPtr& logger,
                          const char* refusal, const Concurrency::cancellation_token& token,
                          const std::function<void(const web::json::value&)>& load);

// The members of a configuration; a missing one, or one of another type, raises the JSON library's
// exception.

CString textMember(const web::json::value& configuration, const utility::char_t* name);
std::set<CString> scopesSupported(const web::json::value& configuration);
bool listsValue(const web::json::value& configuration, const utility::char_t* name,
                const CString& value);

}  // namespace auth::detail
