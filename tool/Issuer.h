#pragma once

#include "platform/Tasks.h"
#include "tool/Options.h"

#include <optional>

namespace tool {

/// Makes sure that the provider which is about to be asked is that of --issuer, where it is given:
/// the configuration must name it (RFC 8414, section 3.3). Nothing where nobody needs to be asked,
/// since a stored token serves for longer than so many minutes. The task throws std::runtime_error
/// for another issuer, and what fetching the configuration throws.
std::optional<Concurrency::task<void>> confirmIssuer(
    const RequestOptions& request, unsigned int minValidity, PlainStore& store,
    const Concurrency::cancellation_token& cancellation);

}  // namespace tool
