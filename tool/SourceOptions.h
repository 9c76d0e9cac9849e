#pragma once

#include "tool/ClientSecret.h"
#include "tool/Options.h"
#include "tool/TokenSource.h"
#include "tool/UserToken.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace tool {

/// The options that say which token another program gets, and whose.
struct SourceOptions {
    RequestOptions request;
    ClientSecretSource secret;
    SignInOptions signIn;
    bool isService = false;
    bool isIdToken = false;
    bool maySignIn = false;

    void addTo(CLI::App& command);
    /// For commands that may ask the user to sign in.
    void addSignInTo(CLI::App& command);

    TokenKind kind() const { return isIdToken ? TokenKind::id : TokenKind::access; }
    std::unique_ptr<TokenSource> open() const;
};

}  // namespace tool
