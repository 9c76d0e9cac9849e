#pragma once

#include "auth/OIDCError.h"

namespace auth::detail {

using Error = OIDCError;
using Kind = OIDCError::Kind;

}  // namespace auth::detail
