#pragma once

#include "auth/IExclusivePermit.h"
#include "host/CLogger.h"
#include "tool/FilePath.h"
#include "tool/RecordStore.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace tool {

/// The provider's address, and the authorities to trust.
struct ProviderAddress {
    std::string configUrl;
    std::string issuer;    // instead of configUrl
    FilePath authorities;  // empty: only the system's
    std::string profile;   // empty: none

    void addTo(CLI::App& command);
    /// The URL of the configuration, given directly or by the issuer (OpenID Connect Discovery 1.0,
    /// section 4). Empty if neither is given.
    std::string url() const;
    /// Makes the process trust the authorities. Throws UsageError if something is invalid or
    /// missing.
    void prepare() const;
};

void addJson(CLI::App& command, bool& json, const std::string& description);

/// Throws UsageError for an invalid URL.
void checkRedirectUrl(const std::string& url);

/// A client at a provider, and the place of its token.
struct RecordOptions {
    ProviderAddress provider;
    std::string clientId;
    FilePath store;  // empty: the default file
    bool keyring = false;
    bool none = false;  // kept in memory only

    void addTo(CLI::App& command);

    // These throw UsageError if the options do not say where the token is.

    std::unique_ptr<RecordStore> makeStore() const;
    /// The same, but read once: the library treats a store that fails to read as empty. Throws the
    /// exception of that read.
    std::unique_ptr<RecordStore> openStore() const;
    /// The file that notes an unanswered sign-in page; empty if nothing is stored.
    std::filesystem::path signInMark() const;
    /// For people.
    std::string storeName() const;
    /// The permit by which all processes take turns to get the token; the user is told about
    /// waiting. `prepare` is called before the first attempt to lock it.
    std::shared_ptr<auth::IExclusivePermit> permit(std::function<void()> prepare = {}) const;

private:
    /// If the record is in the keyring, this file is only locked.
    std::filesystem::path file() const;
    std::filesystem::path usualFile() const;
};

/// The options of every command that gets a token.
struct RequestOptions {
    RecordOptions record;
    std::string scopes;
    unsigned int minValidity = 1;  // minutes
    bool json = false;
    int verbosity = 0;

    void addTo(CLI::App& command);

    /// As ProviderAddress::prepare().
    void prepare() const;
    std::shared_ptr<LoggingUtilities::CLogger> logger() const;
};

}  // namespace tool
