#include "tool/ServiceToken.h"

#include "auth/COIDCHelper.h"
#include "tool/Commands.h"
#include "tool/Interrupt.h"
#include "tool/Issuer.h"
#include "tool/ObservedStore.h"
#include "tool/Output.h"
#include "tool/TokenOutput.h"

#include <chrono>
#include <iostream>
#include <memory>
#include <string>

namespace tool {

namespace {

const RequestOptions& checked(const RequestOptions& request) {
    request.prepare();
    return request;
}

class ServiceTokens final : public TokenSource {
public:
    ServiceTokens(const RequestOptions& request, const ClientSecretSource& secret)
        : m_options(checked(request)),
          m_secret(readClientSecret(secret, std::cin).toUtf8()),
          m_kept(request.record.openStore()),
          m_helper(std::make_unique<ObservedStore>(m_kept, m_record),
                   auth::COIDCHelper::makeExclusivePermit(), request.logger()) {}

    const std::string& url() const override { return m_url; }

    Concurrency::task<auth::COIDCToken> request(
        unsigned int minValidity, const Concurrency::cancellation_token& cancellation) override {
        const auto begin = [this, minValidity, cancellation] {
            return m_helper.getOIDCTokenClientCredentialsAsync(
                {url(), m_options.record.clientId, m_secret, m_options.scopes,
                 std::chrono::minutes(minValidity)},
                cancellation);
        };
        const auto confirmed = confirmIssuer(m_options, minValidity, *m_kept, cancellation);
        return confirmed ? confirmed->then(begin, atOnce()) : begin();
    }

    bool wasStored() const override { return !m_record->wasWritten(); }

    /// A service can get another one at any time.
    void discard() override { m_kept->clear(); }

private:
    const RequestOptions m_options;
    const std::string m_url = m_options.record.provider.url();
    const std::string m_secret;
    const std::shared_ptr<RecordStore> m_kept;
    const std::shared_ptr<ObservedStore::Record> m_record =
        std::make_shared<ObservedStore::Record>();
    auth::COIDCHelper m_helper;  // last, because its requests use the others
};

struct ServiceTokenOptions {
    RequestOptions request;
    OutputOptions output;
    ClientSecretSource secret;
};

void runServiceToken(const ServiceTokenOptions& options) {
    RequestOptions request = options.request;
    const OutputFormat format = options.output.chosen(request.json);
    request.json = format == OutputFormat::json;
    const TokenOutput output(TokenKind::access, format);
    const auto tokens = openServiceTokens(request, options.secret);
    print(output.text(freshToken(*tokens, TokenKind::access, request.minValidity)));
}

}  // namespace

CLI::Option_group* addClientSecret(CLI::App& command, ClientSecretSource& secret) {
    auto* const sources = command.add_option_group(
        "Client secret", "one of these, or the variable OIDCAUTH_CLIENT_SECRET");
    sources
        ->add_option("--client-secret-file", secret.file, "Read the client secret from this file")
        ->type_name("FILE");
    sources
        ->add_option("--client-secret-env", secret.environmentVariable,
                     "Read the client secret from this variable")
        ->type_name("VARIABLE");
    sources->add_flag("--client-secret-stdin", secret.standardInput,
                      "Read the client secret from standard input");
    sources->require_option(0, 1);
    return sources;
}

std::unique_ptr<TokenSource> openServiceTokens(const RequestOptions& request,
                                               const ClientSecretSource& secret) {
    return std::make_unique<ServiceTokens>(request, secret);
}

void addServiceToken(CLI::App& app, std::function<void()>& chosen) {
    const auto options = std::make_shared<ServiceTokenOptions>();
    CLI::App* const command =
        app.add_subcommand("service-token",
                           "Print an access token for a service\n"
                           "The token is requested with the client credentials grant. A stored "
                           "token is printed while it is valid; otherwise a new one is requested "
                           "and stored. Only the token is written to standard output.");
    options->request.addTo(*command);
    options->output.addTo(*command);
    addJson(*command, options->request.json, "Short for --output json");
    addClientSecret(*command, options->secret);
    command->footer(
        "Example: a client secret in a file\n"
        "  oidcauth service-token --issuer https://id.example --client-id backup \\\n"
        "      --scopes \"files:read files:write\" --client-secret-file /run/secrets/backup");
    command->callback([options, &chosen] { chosen = [options] { runServiceToken(*options); }; });
}

}  // namespace tool
