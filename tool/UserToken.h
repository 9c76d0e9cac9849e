#pragma once

#include "auth/COIDCToken.h"
#include "tool/Options.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

/// How a user signs in.
struct SignInOptions {
    /// Free on most machines: outside the range from which systems give ports to programs that ask
    /// for any.
    std::vector<std::string> redirectUrls{"http://127.0.0.1:17419/callback",
                                          "http://127.0.0.1:23419/callback",
                                          "http://127.0.0.1:28419/callback"};
    bool noBrowser = false;

    void addTo(CLI::App& command);
};

enum class SignIn : std::uint8_t { never, ifNeeded, always };

struct UserToken {
    enum class Origin : std::uint8_t { stored, refreshed, signedIn };

    auth::COIDCToken token;
    Origin origin;
};

/// The token of a user. Tells the user on standard error what to do where a sign-in is needed and
/// allowed. Throws UsageError for options that cannot be followed, and what the library throws.
UserToken getUserToken(const RequestOptions& request, const SignInOptions& options, SignIn signIn);

}  // namespace tool
