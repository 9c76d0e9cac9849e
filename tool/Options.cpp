#include "tool/Options.h"

#include "host/standalone/FilePermit.h"
#include "host/standalone/FileTokenStore.h"
#include "host/standalone/KeyringTokenStore.h"
#include "host/standalone/LogSinks.h"
#include "tool/ExitCode.h"
#include "tool/StoreLocation.h"
#include "tool/WaitingPermit.h"

#include <cpprest/base_uri.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace tool {

using LoggingUtilities::ELogLevel;

namespace {

/// What was given stays out of the message: it may be a secret in the wrong place, or hold one.
void checkUrl(const std::string& option, const std::string& url,
              const std::vector<utility::string_t>& schemes, const std::string& schemesText) {
    const auto refuse = [&](const std::string& reason) {
        throw UsageError(option + ": " + reason);
    };
    const auto text = utility::conversions::to_string_t(url);
    if (!web::uri::validate(text)) {
        refuse("not a URL");
    }
    const web::uri parsed(text);
    if (std::find(schemes.begin(), schemes.end(), parsed.scheme()) == schemes.end()) {
        refuse("the scheme must be " + schemesText);
    }
    if (parsed.host().empty()) {
        refuse("no host is named");
    }
}

}  // namespace

void addConfigUrl(CLI::App& command, std::string& url, bool required) {
    command.add_option("--config-url", url, "The provider's configuration document")
        ->required(required)
        ->envname("OIDCAUTH_CONFIG_URL")
        ->type_name("URL");
}

void addJson(CLI::App& command, bool& json, const std::string& description) {
    command.add_flag("--json", json, description);
}

void checkConfigUrl(const std::string& url) {
    checkUrl("--config-url", url, {_XPLATSTR("https"), _XPLATSTR("http")},
             "https (or http, for tests on this machine)");
}

void checkRedirectUrl(const std::string& url) {
    checkUrl("--redirect-url", url, {_XPLATSTR("http")}, "http, for an address of this machine");
}

void RecordOptions::addTo(CLI::App& command, bool required) {
    addConfigUrl(command, configUrl, required);
    command.add_option("--client-id", clientId, "The client id at the provider")
        ->required(required)
        ->envname("OIDCAUTH_CLIENT_ID")
        ->type_name("ID");
    auto* const file =
        command
            .add_option("--store", store, "Keep the token in this file instead of the usual place")
            ->type_name("FILE");
    command.add_flag("--keyring", keyring, "Keep the token in the desktop's keyring")
        ->excludes(file);
}

std::filesystem::path RecordOptions::file() const {
    if (!store.empty()) {
        return store;
    }
    if (configUrl.empty() || clientId.empty()) {
        throw UsageError("whose token? Give --config-url and --client-id, or --store");
    }
    return defaultStore(configUrl, clientId);
}

std::unique_ptr<RecordStore> RecordOptions::makeStore() const {
    const auto path = file();  // looked up for the keyring too: it tells whether all is given
    if (keyring) {
        return std::make_unique<RecordIn<standalone::SecretKeyring>>(
            standalone::KeyringEntry{configUrl, clientId, "OIDCAuth token of " + clientId});
    }
    return std::make_unique<RecordIn<standalone::SecretFile>>(path);
}

std::unique_ptr<RecordStore> RecordOptions::openStore() const {
    auto opened = makeStore();
    std::vector<std::uint8_t> ignored;
    opened->read(ignored, true);
    return opened;
}

std::string RecordOptions::storeName() const {
    return keyring ? "the desktop's keyring" : file().string();
}

std::shared_ptr<auth::IExclusivePermit> RecordOptions::permit(std::function<void()> prepare) const {
    return std::make_shared<WaitingPermit>(
        standalone::FilePermit::make(standalone::lockFileOf(file())), std::move(prepare));
}

void RequestOptions::addTo(CLI::App& command) {
    record.addTo(command, true);
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
    command.add_flag("-v,--verbose", verbosity, "Say more on standard error (-v, -vv)");
}

void RequestOptions::check() const {
    checkConfigUrl(record.configUrl);
    if (scopes.find_first_not_of(' ') == std::string::npos) {
        throw UsageError("--scopes names none");
    }
}

std::shared_ptr<LoggingUtilities::CLogger> RequestOptions::logger() const {
    // What is only tolerated is of no use by itself: it comes with the steps around it.
    constexpr std::array levels{ELogLevel::Error, ELogLevel::Detail, ELogLevel::Flow};
    const auto level =
        std::min<std::size_t>(static_cast<std::size_t>(verbosity), levels.size() - 1);
    return std::make_shared<LoggingUtilities::CLogger>(
        std::make_shared<standalone::StandardErrorLog>(levels[level]));
}

}  // namespace tool
