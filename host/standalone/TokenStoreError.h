#pragma once

#include "auth/IStoreFailure.h"
#include "host/Export.h"

#include <stdexcept>

namespace standalone {

/// A secret could not be read or stored. The text names its file or keyring entry and says what can
/// be done.
///
/// \ingroup errors
class OIDCAUTH_HOST_API TokenStoreError : public std::runtime_error, public auth::IStoreFailure {
public:
    using std::runtime_error::runtime_error;
};

/// The stored secret is damaged, or was encrypted for another user: it can only be removed.
///
/// \ingroup errors
class OIDCAUTH_HOST_API DamagedSecret : public TokenStoreError {
public:
    using TokenStoreError::TokenStoreError;
};

}  // namespace standalone
