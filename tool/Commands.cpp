#include "tool/Commands.h"

#include "host/standalone/LogSinks.h"
#include "tool/ExitCode.h"
#include "tool/StoreLocation.h"

#include <cpprest/base_uri.h>

#include <algorithm>

namespace tool {

using LoggingUtilities::ELogLevel;

void RequestOptions::addTo(CLI::App& command) {
    command.add_option("--config-url", configUrl, "The provider's configuration document")
        ->required()
        ->envname("OIDCAUTH_CONFIG_URL")
        ->type_name("URL");
    command.add_option("--client-id", clientId, "The client id at the provider")
        ->required()
        ->envname("OIDCAUTH_CLIENT_ID")
        ->type_name("ID");
    command.add_option("--scopes", scopes, "The scopes to ask for, separated by spaces")
        ->required()
        ->envname("OIDCAUTH_SCOPES")
        ->type_name("SCOPES");
    command
        .add_option("--min-validity", minValidity,
                    "Reuse a stored token that stays valid for this many minutes")
        ->capture_default_str()
        ->check(CLI::Range(0, 1'000'000))
        ->type_name("MIN");
    command.add_option("--store", store, "Keep the token in this file instead of the usual place")
        ->type_name("FILE");
    command.add_flag("--json", json, "Print token, expiry and scopes as JSON");
    command.add_flag("-v,--verbose", verbosity, "Say more on standard error (-v, -vv, -vvv)");
}

void RequestOptions::check() const {
    const auto refuse = [this](const std::string& reason) {
        throw UsageError("--config-url " + configUrl + ": " + reason);
    };
    const auto text = utility::conversions::to_string_t(configUrl);
    if (!web::uri::validate(text)) {
        refuse("not a URL");
    }
    const web::uri url(text);
    if (url.scheme() != _XPLATSTR("https") && url.scheme() != _XPLATSTR("http")) {
        refuse("the scheme must be https (or http, for tests on this machine)");
    }
    if (url.host().empty()) {
        refuse("no host is named");
    }
}

std::filesystem::path RequestOptions::storeFile() const {
    return store.empty() ? defaultStore(configUrl, clientId) : store;
}

std::shared_ptr<LoggingUtilities::CLogger> RequestOptions::logger() const {
    constexpr int all = static_cast<int>(ELogLevel::Error) - static_cast<int>(ELogLevel::Flow);
    const auto minimum = static_cast<int>(ELogLevel::Error) - std::min(verbosity, all);
    return std::make_shared<LoggingUtilities::CLogger>(
        std::make_shared<standalone::StandardErrorLog>(static_cast<ELogLevel>(minimum)));
}

}  // namespace tool
