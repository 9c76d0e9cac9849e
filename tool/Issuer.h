#pragma once

#include "platform/Tasks.h"
#include "tool/Options.h"

#include <optional>

namespace tool {

/// If --issuer is given, checks before the provider is asked that its configuration names this
/// issuer (RFC 8414, section 3.3). Returns nothing if the provider need not be asked because a
/// stored token stays valid for more than `minValidity` minutes. The task throws std::runtime_error
/// for another issuer, and the exceptions of fetching the configuration.
std::optional<Concurrency::task<void>> confirmIssuer(
    const RequestOptions& request, unsigned int minValidity, PlainStore& store,
    const Concurrency::cancellation_token& cancellation);

}  // namespace tool
