#pragma once

#include "auth/IStoreFailure.h"
#include "host/Export.h"

#include <stdexcept>

namespace standalone {

/// A secret could not be read or kept. The text names where it is kept and says what can be done.
class OIDCAUTH_HOST_API TokenStoreError : public std::runtime_error, public auth::IStoreFailure {
public:
    using std::runtime_error::runtime_error;
};

/// What is kept there is damaged, or was encrypted for somebody else: it can only be removed.
class OIDCAUTH_HOST_API DamagedSecret : public TokenStoreError {
public:
    using TokenStoreError::TokenStoreError;
};

}  // namespace standalone
