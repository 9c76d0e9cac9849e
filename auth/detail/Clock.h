#pragma once

#include "auth/COIDCToken.h"

namespace auth::detail {

/// The system clock. All of the library asks here, so that one other definition moves its time.
COIDCToken::TimePoint now();

}  // namespace auth::detail
