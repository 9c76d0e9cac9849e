#pragma once

#include "platform/Tasks.h"
#include "tool/Options.h"

namespace tool {

/// Makes sure that the provider which is about to be asked is that of --issuer, where it is given:
/// the configuration must name it (RFC 8414, section 3.3). With a stored token that serves for
/// longer than so many minutes nobody is asked. Throws std::runtime_error for another issuer, and
/// what fetching the configuration throws.
void confirmIssuer(const RequestOptions& request, unsigned int minValidity, PlainStore& store,
                   Concurrency::cancellation_token cancellation);

}  // namespace tool
