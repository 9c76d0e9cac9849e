#include "tool/Options.h"

#include "auth/COIDCHelper.h"
#include "host/standalone/FilePermit.h"
#include "host/standalone/FileTokenStore.h"
#include "host/standalone/KeyringTokenStore.h"
#include "host/standalone/LogSinks.h"
#include "tool/Authorities.h"
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

/// The value stays out of the message: it may be, or contain, a secret in the wrong place.
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

void addJson(CLI::App& command, bool& json, const std::string& description) {
    command.add_flag("--json", json, description);
}

void checkRedirectUrl(const std::string& url) {
    checkUrl("--redirect-url", url, {_XPLATSTR("http")}, "http, for an address of this machine");
}

void ProviderAddress::addTo(CLI::App& command) {
    auto* const url = command
                          .add_option("--config-url", configUrl,
                                      "The URL of the provider's configuration document")
                          ->type_name("URL");
    command
        .add_option("--issuer", issuer,
                    "The provider's issuer URL, in place of --config-url. The configuration is "
                    "read from /.well-known/openid-configuration below it, and must name "
                    "exactly this issuer")
        ->type_name("URL")
        ->excludes(url);
    command
        .add_option(
            "--ca-file", authorities,
            "Trust the certificate authorities in this PEM file in addition to the system's")
        ->type_name("FILE");
    command
        .add_option("--profile", profile,
                    "Use this profile's values for the options that are not given")
        ->type_name("PROFILE");
}

std::string ProviderAddress::url() const {
    if (issuer.empty()) {
        return configUrl;
    }
    const bool endsWithSlash = issuer.back() == '/';
    return issuer.substr(0, issuer.size() - (endsWithSlash ? 1 : 0)) +
           "/.well-known/openid-configuration";
}

void ProviderAddress::prepare() const {
    if (url().empty()) {
        throw UsageError(
            "no provider is given: --issuer or --config-url is required, or a profile with one of "
            "them");
    }
    checkUrl(issuer.empty() ? "--config-url" : "--issuer", url(),
             {_XPLATSTR("https"), _XPLATSTR("http")}, "https (or http, for tests on this machine)");
    if (issuer.find_first_of("?#") != std::string::npos) {
        throw UsageError("--issuer: must have no query and no fragment");
    }
    if (!authorities.empty()) {
        trustAuthorities(authorities);
    }
}

void RecordOptions::addTo(CLI::App& command) {
    provider.addTo(command);
    command
        .add_option("--client-id", clientId,
                    "The client id under which this program is registered at the provider")
        ->type_name("ID");
    auto* const file = command
                           .add_option("--store", store,
                                       "Store the tokens in this file instead of the default one")
                           ->type_name("FILE");
    command.add_flag("--keyring", keyring, "Store the tokens in the desktop's keyring")
        ->excludes(file);
}

std::filesystem::path RecordOptions::usualFile() const {
    const std::string url = provider.url();
    if (url.empty() || clientId.empty()) {
        throw UsageError(
            "no client is named: give --issuer (or --config-url) and --client-id, or --profile, or "
            "--store");
    }
    return defaultStore(url, clientId, provider.profile);
}

std::filesystem::path RecordOptions::file() const {
    return store.empty() ? usualFile() : std::filesystem::path(store);
}

std::unique_ptr<RecordStore> RecordOptions::makeStore() const {
    if (none) {
        return std::make_unique<MemoryRecord>();
    }
    const auto path = file();  // needed for the keyring too: it throws if something is missing
    if (keyring) {
        // A client id has no line feed, so no two records share an entry.
        const bool isOwn = !provider.profile.empty();
        return std::make_unique<RecordIn<standalone::SecretKeyring>>(standalone::KeyringEntry{
            provider.url(), clientId + (isOwn ? '\n' + provider.profile : ""),
            "OIDCAuth token of " + clientId + (isOwn ? ", profile " + provider.profile : "")});
    }
    return std::make_unique<RecordIn<standalone::SecretFile>>(path);
}

std::unique_ptr<RecordStore> RecordOptions::openStore() const {
    auto opened = makeStore();
    std::vector<std::uint8_t> ignored;
    opened->read(ignored, true);
    return opened;
}

std::filesystem::path RecordOptions::signInMark() const {
    return none ? std::filesystem::path() : file().concat(".sign-in");
}

std::string RecordOptions::storeName() const {
    return none ? "nowhere" : keyring ? "the desktop's keyring" : file().u8string();
}

std::shared_ptr<auth::IExclusivePermit> RecordOptions::permit(std::function<void()> prepare) const {
    if (none) {
        return auth::COIDCHelper::makeExclusivePermit();
    }
    return std::make_shared<WaitingPermit>(
        standalone::FilePermit::make(standalone::lockFileOf(file())), std::move(prepare));
}

void RequestOptions::addTo(CLI::App& command) {
    record.addTo(command);
    command.add_flag("--no-store", record.none, "Store no tokens: ask the provider each time")
        ->excludes(command.get_option("--store"))
        ->excludes(command.get_option("--keyring"));
    command.add_option("--scopes", scopes, "The scopes to ask for, separated by spaces")
        ->type_name("SCOPES");
    command
        .add_option("--min-validity", minValidity,
                    "Reuse a stored token if it stays valid for this many minutes")
        ->capture_default_str()
        ->check(CLI::Range(0, 1'000'000))
        ->type_name("MIN");
    command.add_flag("-v,--verbose", verbosity, "Log more to standard error; -vv logs everything");
}

void RequestOptions::prepare() const {
    record.provider.prepare();
    const auto require = [](const std::string& option, const std::string& value) {
        if (value.empty()) {
            throw UsageError(option + " is required");
        }
    };
    require("--client-id", record.clientId);
    require("--scopes", scopes);
    if (scopes.find_first_not_of(' ') == std::string::npos) {
        throw UsageError("--scopes: at least one scope is required");
    }
}

std::shared_ptr<LoggingUtilities::CLogger> RequestOptions::logger() const {
    if (json && verbosity == 0) {
        return nullptr;  // a failure is printed as one JSON object on standard error
    }
    // Warnings are of no use alone: they are shown together with the steps around them.
    constexpr std::array levels{ELogLevel::Error, ELogLevel::Detail, ELogLevel::Flow};
    const auto level =
        std::min<std::size_t>(static_cast<std::size_t>(verbosity), levels.size() - 1);
    return std::make_shared<LoggingUtilities::CLogger>(
        std::make_shared<standalone::StandardErrorLog>(levels[level]));
}

}  // namespace tool
