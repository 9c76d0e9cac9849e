#pragma once

#include "platform/Export.h"

namespace auth {

/// Marks an exception as one of a token store. OIDCError::of() gives such exceptions the kind
/// OIDCError::Kind::store.
///
/// The exceptions of your own store may derive from it, in addition to std::exception. The library
/// passes them on unchanged.
///
/// \ingroup errors
class OIDCAUTH_API IStoreFailure {
public:
    virtual ~IStoreFailure() = default;
};

}  // namespace auth
