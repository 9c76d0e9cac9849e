#pragma once

#include "auth/IExclusivePermit.h"
#include "tool/Countdown.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace tool {

/// Forwards to another permit, and tells the user when somebody else holds it. Each lock calls
/// `prepare` before its first attempt, so that nobody asks the provider, or waits to do so, before
/// the conditions for it are met. An exception of `prepare` ends the request.
class WaitingPermit final : public auth::IExclusivePermit {
public:
    /// Not longer than the library's.
    static constexpr std::chrono::seconds limit{25};

    WaitingPermit(std::shared_ptr<auth::IExclusivePermit> permit, std::function<void()> prepare)
        : m_permit(std::move(permit)), m_prepare(std::move(prepare)) {}

    std::unique_ptr<auth::IPermitLock> createLock() override {
        return std::make_unique<Lock>(m_permit->createLock(), m_prepare);
    }

private:
    class Lock final : public auth::IPermitLock {
    public:
        Lock(std::unique_ptr<auth::IPermitLock> lock, std::function<void()> prepare)
            : m_lock(std::move(lock)), m_prepare(std::move(prepare)) {}

        bool tryLock() override {
            if (m_prepare) {
                m_prepare();
                m_prepare = nullptr;
            }
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
        std::function<void()> m_prepare;
        std::optional<Countdown> m_countdown;
    };

    std::shared_ptr<auth::IExclusivePermit> m_permit;
    const std::function<void()> m_prepare;
};

}  // namespace tool
