#include "auth/ExclusivePermit.h"

#include <utility>

namespace auth {

std::shared_ptr<ExclusivePermit> ExclusivePermit::make() {
    auto permit = std::make_shared<ExclusivePermit>();
    permit->m_self = permit;
    return permit;
}

std::unique_ptr<IPermitLock> ExclusivePermit::createLock() {
    auto self = m_self.lock();
    if (!self) {
        return nullptr;
    }
    return std::make_unique<PermitLock>(std::move(self));
}

PermitLock::PermitLock(std::shared_ptr<ExclusivePermit> permit) : m_permit(std::move(permit)) {}

PermitLock::~PermitLock() {
    if (m_held) {
        m_permit->m_taken.exchange(false);
    }
}

bool PermitLock::tryLock() {
    if (!m_held) {
        bool expected = false;
        m_held = m_permit->m_taken.compare_exchange_strong(expected, true);
    }
    return m_held;
}

}  // namespace auth
