#include "auth/COIDCHelper.h"
#include "host/standalone/FileTokenStore.h"
#include "tool/ClientSecret.h"
#include "tool/Commands.h"
#include "tool/ExitCode.h"
#include "tool/Interrupt.h"
#include "tool/ObservedStore.h"
#include "tool/TokenOutput.h"

#include <iostream>
#include <memory>
#include <utility>
#include <vector>

namespace tool {

namespace {

struct ServiceTokenOptions {
    RequestOptions request;
    ClientSecretSource secret;
};

void runServiceToken(const ServiceTokenOptions& options) {
    const RequestOptions& request = options.request;
    request.check();
    const CString secret = readClientSecret(options.secret, std::cin);

    auto file = std::make_unique<standalone::FileTokenStore<auth::COIDCToken>>(request.storeFile());
    // The library takes a store that fails to read for an empty one. Whoever runs the command
    // learns of it before a token is asked for that could not be kept.
    std::vector<std::uint8_t> ignored;
    file->read(ignored, true);

    const auto record = std::make_shared<ObservedStore::Record>();
    auth::COIDCHelper helper(std::make_unique<ObservedStore>(std::move(file), record),
                             auth::COIDCHelper::makeExclusivePermit(), request.logger());
    const Interrupt interrupt;
    helper
        .getAccessTokenClientCredentialsAsync(request.configUrl, request.clientId, secret,
                                              request.scopes, request.minValidity,
                                              interrupt.token())
        .get();
    printToken(record->token(), request.json, std::cout);
}

}  // namespace

void addServiceToken(CLI::App& app, std::function<void()>& chosen) {
    const auto options = std::make_shared<ServiceTokenOptions>();
    CLI::App* const command =
        app.add_subcommand("service-token", "Print an access token for a service");
    command->description(
        "Prints an access token for a service (client credentials grant).\n"
        "A stored token is printed while it is valid; otherwise the provider is asked and the new\n"
        "token is stored. Standard output carries nothing but the token.");
    options->request.addTo(*command);

    auto* const sources = command->add_option_group(
        "Client secret", "One of these, or else the environment variable OIDCAUTH_CLIENT_SECRET");
    sources->add_option("--client-secret-file", options->secret.file, "Read it from this file")
        ->type_name("FILE");
    sources
        ->add_option("--client-secret-env", options->secret.environmentVariable,
                     "Read it from this environment variable")
        ->type_name("NAME");
    sources->add_flag("--client-secret-stdin", options->secret.standardInput,
                      "Read it from standard input");
    sources->require_option(0, 1);

    command->footer(
        "Example:\n"
        "  oidcauth service-token --config-url https://id.example/.well-known/openid-configuration "
        "\\\n"
        "      --client-id backup --scopes \"files:read files:write\" \\\n"
        "      --client-secret-file /run/secrets/backup");
    command->callback([options, &chosen] { chosen = [options] { runServiceToken(*options); }; });
}

}  // namespace tool
