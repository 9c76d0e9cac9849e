#pragma once

#include "platform/Export.h"

#include <memory>

namespace auth {

/// One request's hold on a permit. Destroying the lock gives the permit back.
///
/// A lock belongs to one request. Different threads may use it, but only one at a time.
///
/// \ingroup stores
class OIDCAUTH_API IPermitLock {
public:
    /// Tries to take the permit. Returns whether this lock now holds it, newly or since an earlier
    /// call. It must not block: a request that gets false tries again later. An exception ends the
    /// request.
    virtual bool tryLock() = 0;
    virtual ~IPermitLock() = default;
};

/// At most one lock holds a permit at a time. Requests take it so that a token is refreshed, or a
/// user asked to sign in, only once.
///
/// Any number of helpers and threads may share a permit. It has no virtual destructor: make it
/// as a std::shared_ptr of your own class, which then destroys it correctly.
///
/// COIDCHelper::makeExclusivePermit() makes one for this process, standalone::FilePermit one for
/// all processes of a user.
///
/// \ingroup stores
class OIDCAUTH_API IExclusivePermit {
public:
    /// A new lock, which does not hold the permit yet. Null if the permit no longer exists; the
    /// request then ends with an OIDCError. An exception ends the request.
    virtual std::unique_ptr<IPermitLock> createLock() = 0;

protected:
    ~IExclusivePermit() = default;
};

}  // namespace auth
