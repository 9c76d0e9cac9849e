#pragma once

#include "auth/IExclusivePermit.h"
#include "host/CLogger.h"
#include "tool/RecordStore.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace tool {

void addConfigUrl(CLI::App& command, std::string& url, bool required);
void addJson(CLI::App& command, bool& json, const std::string& description);

// These throw UsageError for a URL that cannot be used.
void checkConfigUrl(const std::string& url);
void checkRedirectUrl(const std::string& url);

/// A client at a provider, and where its token is kept.
struct RecordOptions {
    std::string configUrl;
    std::string clientId;
    std::filesystem::path store;  // empty: the usual place
    bool keyring = false;

    /// Provider and client are `required` where more is done with them than to find the store.
    void addTo(CLI::App& command, bool required);

    // These throw UsageError when there is no telling where the token is.

    /// The store, which has been read once: the library takes one that fails to read for an empty
    /// one. Throws what it threw.
    std::unique_ptr<RecordStore> openStore() const;
    /// For people.
    std::string storeName() const;
    /// By it those who get the token take turns, in all processes; whoever waits is told.
    /// `prepare` is called before a lock of it is tried for the first time.
    std::shared_ptr<auth::IExclusivePermit> permit(std::function<void()> prepare = {}) const;

private:
    /// That of the keyring's record is only locked.
    std::filesystem::path file() const;
    std::unique_ptr<RecordStore> makeStore() const;
};

/// What every command that gets a token is told.
struct RequestOptions {
    RecordOptions record;
    std::string scopes;
    unsigned int minValidity = 1;  // minutes
    bool json = false;
    int verbosity = 0;

    void addTo(CLI::App& command);

    /// Throws UsageError for what cannot be used.
    void check() const;
    std::shared_ptr<LoggingUtilities::CLogger> logger() const;
};

}  // namespace tool
