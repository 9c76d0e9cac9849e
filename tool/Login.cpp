#include "host/standalone/LogSinks.h"
#include "tool/Commands.h"
#include "tool/ExitCode.h"
#include "tool/Output.h"
#include "tool/TokenClaims.h"
#include "tool/TokenReport.h"
#include "tool/UserToken.h"

#include <fmt/format.h>

#include <memory>

namespace tool {

namespace {

struct LoginOptions {
    RequestOptions request;
    SignInOptions signIn;
    bool force = false;
};

std::string summary(const UserToken& user) {
    using Origin = UserToken::Origin;
    const char* const event = user.origin == Origin::signedIn    ? "Signed in"
                              : user.origin == Origin::refreshed ? "Still signed in, refreshed,"
                                                                 : "Still signed in";
    const char* const hint = user.origin == Origin::signedIn ? "" : " (--force signs in again)";
    return fmt::format("{} as {}, client {}, until {}{}", event, userOf(user.token),
                       user.token.clientId().toUtf8(), timestamp(user.token.expiresAt()), hint);
}

void runLogin(const LoginOptions& options) {
    if (options.request.record.none) {
        throw UsageError(
            "--no-store: login only stores tokens; to get one without storing it, use oidcauth "
            "token --sign-in");
    }
    const UserToken user = getUserToken(options.request, options.signIn,
                                        options.force ? SignIn::always : SignIn::asked);
    if (options.request.json) {
        print(reportOf(user.token, options.request.record.storeName()));
    } else {
        print(standalone::redact(summary(user)));
    }
}

}  // namespace

void addLogin(CLI::App& app, std::function<void()>& chosen) {
    const auto options = std::make_shared<LoginOptions>();
    CLI::App* const command =
        app.add_subcommand("login",
                           "Sign in as a user and store the tokens\n"
                           "If a stored token is valid or can be refreshed, the user is not asked. "
                           "Otherwise the browser opens, and the user has 90 seconds to sign in.");
    options->request.addTo(*command);
    command->get_option("--no-store")->group("");  // only there to be refused
    addJson(*command, options->request.json, "Print what is stored, as status --json does");
    options->signIn.addTo(*command);
    command->add_flag(
        "--force", options->force,
        "Sign in even if a valid token is stored; that token is kept until the sign-in succeeds");
    command->footer(
        "Example: sign in without a profile\n"
        "  oidcauth login --issuer https://id.example --client-id editor \\\n"
        "      --scopes \"openid offline_access files:read\"");
    command->callback([options, &chosen] { chosen = [options] { runLogin(*options); }; });
}

}  // namespace tool
