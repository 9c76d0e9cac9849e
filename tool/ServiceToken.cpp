#include "auth/COIDCHelper.h"
#include "tool/Asking.h"
#include "tool/ClientSecret.h"
#include "tool/Commands.h"
#include "tool/Issuer.h"
#include "tool/ObservedStore.h"
#include "tool/Options.h"
#include "tool/TokenOutput.h"

#include <iostream>
#include <memory>
#include <string>
#include <utility>

namespace tool {

namespace {

struct ServiceTokenOptions {
    RequestOptions request;
    ClientSecretSource secret;
};

void runServiceToken(const ServiceTokenOptions& options) {
    const RequestOptions& request = options.request;
    request.prepare();
    const CString secret = readClientSecret(options.secret, std::cin);
    const std::shared_ptr<RecordStore> store = request.record.openStore();
    const auto record = std::make_shared<ObservedStore::Record>();
    auth::COIDCHelper helper(std::make_unique<ObservedStore>(store, record),
                             auth::COIDCHelper::makeExclusivePermit(), request.logger());
    const std::string url = request.record.provider.url();
    confirmIssuer(request, *store);
    ask(url, [&](const auto& cancellation) {
        return helper.getAccessTokenClientCredentialsAsync(url, request.record.clientId, secret,
                                                           request.scopes, request.minValidity,
                                                           cancellation);
    });
    auth::COIDCToken token = record->token();
    if (!isBearerToken(token.accessToken().toUtf8())) {
        store->clear();  // the next one may be better, and can be had at any time
    }
    printToken(std::move(token), TokenKind::access, request.json);
}

}  // namespace

void addServiceToken(CLI::App& app, std::function<void()>& chosen) {
    const auto options = std::make_shared<ServiceTokenOptions>();
    CLI::App* const command = app.add_subcommand(
        "service-token",
        "Print an access token for a service\n"
        "By the client credentials grant. A stored token is printed while it is valid; otherwise\n"
        "the provider is asked and the new token is stored. Standard output carries nothing but\n"
        "the token.");
    options->request.addTo(*command);
    addJson(*command, options->request.json, "Print token, expiry and scopes as JSON");

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
