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

/// Where a provider is found, and whom to trust there.
struct ProviderAddress {
    std::string configUrl;
    std::string issuer;    // in its place
    FilePath authorities;  // empty: the system's only
    std::string profile;   // empty: none

    void addTo(CLI::App& command);
    /// That of the configuration, given as such or by the issuer (OpenID Connect Discovery 1.0,
    /// section 4). Empty where neither is.
    std::string url() const;
    /// Has the authorities trusted from here on. Throws UsageError for what cannot be used, or is
    /// not given.
    void prepare() const;
};

void addJson(CLI::App& command, bool& json, const std::string& description);

/// Throws UsageError for a URL that cannot be used.
void checkRedirectUrl(const std::string& url);

/// A client at a provider, and where its token is kept.
struct RecordOptions {
    ProviderAddress provider;
    std::string clientId;
    FilePath store;  // empty: the usual place
    bool keyring = false;
    bool none = false;  // kept in memory only

    void addTo(CLI::App& command);

    // These throw UsageError when there is no telling where the token is.

    std::unique_ptr<RecordStore> makeStore() const;
    /// The same, which has been read once: the library takes one that fails to read for an empty
    /// one. Throws what it threw.
    std::unique_ptr<RecordStore> openStore() const;
    /// Where it is noted that a sign-in page waits for its user; empty where nothing is kept.
    std::filesystem::path signInMark() const;
    /// For people.
    std::string storeName() const;
    /// By it those who get the token take turns, in all processes; whoever waits is told.
    /// `prepare` is called before a lock of it is tried for the first time.
    std::shared_ptr<auth::IExclusivePermit> permit(std::function<void()> prepare = {}) const;

private:
    /// That of the keyring's record is only locked.
    std::filesystem::path file() const;
    std::filesystem::path usualFile() const;
};

/// What every command that gets a token is told.
struct RequestOptions {
    RecordOptions record;
    std::string scopes;
    unsigned int minValidity = 1;  // minutes
    bool json = false;
    int verbosity = 0;

    void addTo(CLI::App& command);

    /// As ProviderAddress has it.
    void prepare() const;
    std::shared_ptr<LoggingUtilities::CLogger> logger() const;
};

}  // namespace tool
