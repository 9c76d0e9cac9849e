#pragma once

#include "host/CLogger.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace tool {

/// What every command that gets a token is told.
struct RequestOptions {
    std::string configUrl;
    std::string clientId;
    std::string scopes;
    unsigned int minValidity = 1;  // minutes
    std::filesystem::path store;   // empty: the default one
    bool json = false;
    int verbosity = 0;

    void addTo(CLI::App& command);

    /// Throws UsageError for what cannot be used.
    void check() const;
    std::filesystem::path storeFile() const;
    std::shared_ptr<LoggingUtilities::CLogger> logger() const;
};

/// Adds a subcommand; when it is chosen, `chosen` is set to what runs it.
void addServiceToken(CLI::App& app, std::function<void()>& chosen);

}  // namespace tool
