#pragma once

#include "platform/Export.h"

#include <memory>

namespace auth {

/// Tries to take the permit from which it was created; destroying it gives the permit back. One
/// lock object belongs to one request and is used by one thread at a time.
class OIDCAUTH_API IPermitLock {
public:
    /// True when this lock holds the permit, now or already before. Never blocks: whoever fails
    /// tries again later. What it throws ends the request.
    virtual bool tryLock() = 0;
    virtual ~IPermitLock() = default;
};

/// Something that at most one lock holds at a time, by which requests avoid to refresh or to sign
/// in twice. A permit may be shared by any number of helpers and threads. It has no virtual
/// destructor: it is owned by the shared pointer with which it was made.
class OIDCAUTH_API IExclusivePermit {
public:
    /// A new lock that does not hold the permit yet; empty when the permit no longer exists.
    virtual std::unique_ptr<IPermitLock> createLock() = 0;

protected:
    ~IExclusivePermit() = default;
};

}  // namespace auth
