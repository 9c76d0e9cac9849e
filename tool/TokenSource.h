#pragma once

#include "auth/COIDCToken.h"
#include "platform/Tasks.h"
#include "tool/TokenOutput.h"

#include <string>

namespace tool {

/// A source of tokens: a user who has signed in, or a service with its secret. Requests must end
/// before their source is destroyed.
class TokenSource {
public:
    TokenSource() = default;
    virtual ~TokenSource() = default;
    TokenSource(const TokenSource&) = delete;
    TokenSource& operator=(const TokenSource&) = delete;

    /// The URL of the provider's configuration.
    virtual const std::string& url() const = 0;

    /// Returns the stored token if its access token stays valid for more than `minValidity`
    /// minutes, otherwise a new one.
    virtual Concurrency::task<auth::COIDCToken> request(
        unsigned int minValidity, const Concurrency::cancellation_token& cancellation) = 0;

    /// Whether the last token came from the store.
    virtual bool wasStored() const = 0;

    /// Removes an unusable token, if the next one may be better.
    virtual void discard() {}
};

/// Whether the token of this kind stays valid for more than `minValidity` minutes.
bool serves(const auth::COIDCToken& token, TokenKind kind, unsigned int minValidity);

/// A minimum validity that this access token does not have, so that a request gets a new one.
unsigned int beyondLifeOf(const auth::COIDCToken& token);

/// A token of this kind that stays valid for more than `minValidity` minutes, if the provider's
/// tokens live that long, with the other tokens of the same answer. Ctrl-C cancels the requests.
auth::COIDCToken freshToken(TokenSource& source, TokenKind kind, unsigned int minValidity);

}  // namespace tool
