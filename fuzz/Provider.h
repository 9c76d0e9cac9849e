#pragma once

#include "auth/detail/Log.h"
#include "fuzz/ReplayedExchange.h"
#include "host/CString.h"

#include <string>

namespace fuzz {

constexpr const char* configUrl = "https://id.test/.well-known/openid-configuration";
constexpr const char* issuer = "https://id.test";
constexpr const char* clientId = "client";
constexpr const char* keyId = "key";

/// A configuration with which every flow works.
Answer goodDiscoveryDocument();

/// The key set with this JWK alone.
Answer keySetOf(const std::string& jwk);

/// Formats every line and drops it.
auth::detail::LoggerPtr logger();

}  // namespace fuzz
