#pragma once

#include <cpprest/json.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tool {

/// One thing that a provider must offer, or had better.
struct Check {
    enum class Use : std::uint8_t { any, login, serviceToken };
    enum class Result : std::uint8_t { ok, missing, advised };

    Use use;
    Result result;
    std::string name;
    std::string needs;
    std::string found;
    std::string remedy;  ///< where it is not ok
};

/// How a provider was asked for.
struct Asked {
    std::string configUrl;
    std::string issuer;  ///< empty: any
    std::string scopes;  ///< that a client will ask for; empty: not known
};

/// Whether it is the URL of something that a program or a browser can ask for.
bool isHttp(const std::string& url);

/// What the library asks of a configuration document before it uses the provider, and what it would
/// come to need later.
std::vector<Check> checkConfiguration(const web::json::value& configuration, const Asked& asked);

/// Where that document says the signing keys are, if it does.
std::optional<std::string> signingKeysUrl(const web::json::value& configuration);

/// The same checks of the signing keys.
std::vector<Check> checkSigningKeys(const web::json::value& keySet);

}  // namespace tool
