#pragma once

#include "tool/ClientSecret.h"
#include "tool/Options.h"
#include "tool/TokenSource.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace tool {

/// The options for where the client secret comes from. Gives their group.
CLI::Option_group* addClientSecret(CLI::App& command, ClientSecretSource& secret);

/// The tokens of a service, whose secret is read now. Throws UsageError for options that cannot be
/// followed.
std::unique_ptr<TokenSource> openServiceTokens(const RequestOptions& request,
                                               const ClientSecretSource& secret);

}  // namespace tool
