#pragma once

#include "platform/Export.h"

#include <cstdint>
#include <vector>

namespace auth {

/// A token store that wants to know where a record comes from derives from this as well: records
/// that come from a refresh (RFC 6749, section 6) are handed to it here, all others, of sign-ins,
/// services and sign-outs, to its write(). standalone::RefreshTokenKeeper is one.
class OIDCAUTH_API IRefreshAwareStore {
public:
    /// As ISecretStore::write(), of the same bytes.
    virtual void writeRefreshed(const std::vector<std::uint8_t>& bytes) = 0;

protected:
    ~IRefreshAwareStore() = default;
};

}  // namespace auth
