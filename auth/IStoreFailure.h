#pragma once

#include "platform/Export.h"

namespace auth {

/// Marks the exceptions of a token store, in addition to their std::exception: they pass through
/// the library as they are, and OIDCError::of() knows them by this. A store of your own may do so,
/// too.
class OIDCAUTH_API IStoreFailure {
public:
    virtual ~IStoreFailure() = default;
};

}  // namespace auth
