#pragma once

#include "auth/COIDCToken.h"
#include "tool/AskedUser.h"
#include "tool/Options.h"
#include "tool/SignInOptions.h"
#include "tool/TokenSource.h"

#include <cstdint>
#include <memory>

namespace tool {

struct UserToken {
    enum class Origin : std::uint8_t { stored, refreshed, signedIn };

    auth::COIDCToken token;
    Origin origin;
};

/// The token of a user. If a sign-in is needed and allowed, prints on standard error what to do.
/// Throws UsageError for invalid options, and the library's exceptions.
UserToken getUserToken(const RequestOptions& request, const SignInOptions& options, SignIn signIn);

/// The same for repeated requests.
std::unique_ptr<TokenSource> openUserTokens(const RequestOptions& request,
                                            const SignInOptions& options, SignIn signIn);

}  // namespace tool
