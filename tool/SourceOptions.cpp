#include "tool/SourceOptions.h"

#include "tool/ServiceToken.h"

namespace tool {

void SourceOptions::addTo(CLI::App& command) {
    request.addTo(command);
    auto* const service = command.add_flag(
        "--service", isService, "Use a service's token, not that of the user who has signed in");
    command.add_flag("--id-token", isIdToken, "Use the ID token, not the access token")
        ->excludes(service);
    for (CLI::Option* const option : addClientSecret(command, secret)->get_options()) {
        option->needs(service);
    }
}

void SourceOptions::addSignInTo(CLI::App& command) {
    command.add_flag("--sign-in", maySignIn, "Ask the user to sign in if necessary")
        ->excludes(command.get_option("--service"));
    signIn.addTo(command);
}

std::unique_ptr<TokenSource> SourceOptions::open() const {
    if (isService) {
        return openServiceTokens(request, secret);
    }
    return openUserTokens(request, signIn, maySignIn ? SignIn::ifNeeded : SignIn::never);
}

}  // namespace tool
