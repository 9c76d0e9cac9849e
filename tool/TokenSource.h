#pragma once

#include "auth/COIDCToken.h"
#include "platform/Tasks.h"
#include "tool/TokenOutput.h"

#include <string>

namespace tool {

/// Where tokens come from: a user who has signed in, or a service's own secret. What one of them
/// asks for ends before it does.
class TokenSource {
public:
    TokenSource() = default;
    virtual ~TokenSource() = default;
    TokenSource(const TokenSource&) = delete;
    TokenSource& operator=(const TokenSource&) = delete;

    /// Of the provider's configuration.
    virtual const std::string& url() const = 0;

    /// What a provider issued: the stored one where its access token stays valid for longer than
    /// so many minutes, else a new one.
    virtual Concurrency::task<auth::COIDCToken> request(
        unsigned int minValidity, const Concurrency::cancellation_token& cancellation) = 0;

    /// Whether the last one was there already.
    virtual bool wasStored() const = 0;

    /// Forgets one that is of no use, where the next one may be better.
    virtual void discard() {}
};

/// Whether the token of this kind stays valid for longer than so many minutes.
bool serves(const auth::COIDCToken& token, TokenKind kind, unsigned int minValidity);

/// A minimum validity that this access token does not have: a new one is asked for by it.
unsigned int beyondLifeOf(const auth::COIDCToken& token);

/// A token of this kind that stays valid for longer than so many minutes, if the provider's live
/// that long, with what was issued together with it. Ctrl-C cancels the requests for it.
auth::COIDCToken freshToken(TokenSource& source, TokenKind kind, unsigned int minValidity);

}  // namespace tool
