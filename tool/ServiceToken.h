#pragma once

#include "tool/ClientSecret.h"
#include "tool/Options.h"
#include "tool/TokenSource.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace tool {

/// Adds the options for the source of the client secret. Returns their group.
CLI::Option_group* addClientSecret(CLI::App& command, ClientSecretSource& secret);

/// The tokens of a service; its secret is read now. Throws UsageError for invalid options.
std::unique_ptr<TokenSource> openServiceTokens(const RequestOptions& request,
                                               const ClientSecretSource& secret);

}  // namespace tool
