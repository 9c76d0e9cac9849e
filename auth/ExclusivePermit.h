#pragma once

#include "auth/IExclusivePermit.h"

#include <atomic>
#include <memory>

namespace auth {

/// A permit within this process. Two locks exclude each other even if one request has both.
class ExclusivePermit final : public IExclusivePermit {
public:
    static std::shared_ptr<ExclusivePermit> make();

    std::unique_ptr<IPermitLock> createLock() override;

private:
    friend class PermitLock;

    std::weak_ptr<ExclusivePermit> m_self;
    std::atomic<bool> m_taken{false};
};

class PermitLock final : public IPermitLock {
public:
    explicit PermitLock(std::shared_ptr<ExclusivePermit> permit);
    ~PermitLock() override;
    PermitLock(const PermitLock&) = delete;
    PermitLock& operator=(const PermitLock&) = delete;

    bool tryLock() override;

private:
    std::shared_ptr<ExclusivePermit> m_permit;
    bool m_held = false;
};

}  // namespace auth
