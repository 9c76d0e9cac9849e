#pragma once

#include "auth/IExclusivePermit.h"
#include "tool/Countdown.h"

#include <chrono>
#include <memory>
#include <optional>
#include <utility>

namespace tool {

/// Passes on another permit, and shows the user that it is waited for while somebody else has it.
class WaitingPermit final : public auth::IExclusivePermit {
public:
    /// No longer than that of the library.
    static constexpr std::chrono::seconds limit{25};

    explicit WaitingPermit(std::shared_ptr<auth::IExclusivePermit> permit)
        : m_permit(std::move(permit)) {}

    std::unique_ptr<auth::IPermitLock> createLock() override {
        return std::make_unique<Lock>(m_permit->createLock());
    }

private:
    class Lock final : public auth::IPermitLock {
    public:
        explicit Lock(std::unique_ptr<auth::IPermitLock> lock) : m_lock(std::move(lock)) {}

        bool tryLock() override {
            const bool isHeld = m_lock->tryLock();
            if (isHeld) {
                m_countdown.reset();
            } else if (!m_countdown) {
                m_countdown.emplace("another process that gets the token", limit);
            }
            return isHeld;
        }

    private:
        std::unique_ptr<auth::IPermitLock> m_lock;
        std::optional<Countdown> m_countdown;
    };

    std::shared_ptr<auth::IExclusivePermit> m_permit;
};

}  // namespace tool
