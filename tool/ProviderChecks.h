#pragma once

#include <cpprest/json.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tool {

/// One thing that a provider must, or should, offer.
struct Check {
    enum class Use : std::uint8_t { any, login, serviceToken };
    enum class Result : std::uint8_t { ok, missing, advised };

    Use use;
    Result result;
    std::string name;
    std::string needs;
    std::string found;
    std::string remedy;  ///< empty if the result is ok
};

/// The options that describe the provider.
struct Asked {
    std::string configUrl;
    std::string issuer;  ///< empty: any
    std::string scopes;  ///< those that a client will request; empty: not known
};

/// Whether it is an http or https URL with a host.
bool isHttp(const std::string& url);

/// The library's requirements for a configuration document, including those that only matter later.
std::vector<Check> checkConfiguration(const web::json::value& configuration, const Asked& asked);

/// The URL of the signing keys in that document, if there is one.
std::optional<std::string> signingKeysUrl(const web::json::value& configuration);

/// The same for the signing keys.
std::vector<Check> checkSigningKeys(const web::json::value& keySet);

}  // namespace tool
