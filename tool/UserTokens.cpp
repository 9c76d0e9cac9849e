#include "tool/Commands.h"
#include "tool/Output.h"
#include "tool/TokenOutput.h"
#include "tool/TokenSource.h"
#include "tool/UserToken.h"

#include <memory>
#include <string>

namespace tool {

namespace {

struct UserTokenOptions {
    RequestOptions request;
    OutputOptions output;
    SignInOptions signIn;
    bool maySignIn = false;
};

void runUserToken(const UserTokenOptions& options, TokenKind kind) {
    RequestOptions request = options.request;
    const OutputFormat format = options.output.chosen(request.json);
    request.json = format == OutputFormat::json;
    const TokenOutput output(kind, format);
    const auto tokens = openUserTokens(request, options.signIn,
                                       options.maySignIn ? SignIn::ifNeeded : SignIn::never);
    print(output.text(freshToken(*tokens, kind, request.minValidity)));
}

void addUserToken(CLI::App& app, std::function<void()>& chosen, TokenKind kind,
                  const std::string& name, const std::string& thing) {
    const auto options = std::make_shared<UserTokenOptions>();
    CLI::App* const command = app.add_subcommand(
        name, "Print " + thing +
                  " of the user who has signed in\n"
                  "A stored token is printed while it is valid and refreshed when it has expired. "
                  "If neither is possible, --sign-in asks the user to sign in; without it, the "
                  "command fails and tells you to run oidcauth login. Only the token is written to "
                  "standard output.");
    options->request.addTo(*command);
    options->output.addTo(*command);
    addJson(*command, options->request.json, "Short for --output json");
    command->add_flag("--sign-in", options->maySignIn, "Ask the user to sign in if necessary");
    options->signIn.addTo(*command);
    command->callback(
        [options, kind, &chosen] { chosen = [options, kind] { runUserToken(*options, kind); }; });
}

}  // namespace

void addUserTokens(CLI::App& app, std::function<void()>& chosen) {
    addUserToken(app, chosen, TokenKind::access, "token", "an access token");
    addUserToken(app, chosen, TokenKind::id, "id-token", "the ID token");
}

}  // namespace tool
