#pragma once

#include "platform/Export.h"

#include <cstdint>
#include <vector>

namespace auth {

/// A token store derives from this in addition to ISecretStore if it needs to know which records
/// come from a refresh (RFC 6749, section 6).
///
/// Those records come through writeRefreshed(). All others, of sign-ins, services and sign-outs,
/// come through write(). standalone::RefreshTokenKeeper is such a store.
///
/// \ingroup stores
class OIDCAUTH_API IRefreshAwareStore {
public:
    /// Called instead of ISecretStore::write(), with the bytes that write() would get. The same
    /// rules apply.
    virtual void writeRefreshed(const std::vector<std::uint8_t>& bytes) = 0;

protected:
    ~IRefreshAwareStore() = default;
};

}  // namespace auth
