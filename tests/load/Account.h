#pragma once

#include "auth/COIDCToken.h"
#include "host/CLogger.h"
#include "host/ISecretStore.h"

#include <algorithm>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace load {

/// The stored token of a client, for any number of helpers, and what becomes of its refresh tokens:
/// each is sent at most once for a refresh that the library begins, and never once another token
/// is stored for it.
class Account : public std::enable_shared_from_this<Account> {
public:
    explicit Account(std::string client) : m_client(std::move(client)) {}

    const std::string& client() const { return m_client; }

    std::unique_ptr<ISecretStore<auth::COIDCToken>> store() {
        return std::make_unique<Store>(shared_from_this());
    }

    std::shared_ptr<LoggingUtilities::CLogger> logger() {
        return std::make_shared<LoggingUtilities::CLogger>(
            std::make_shared<Log>(shared_from_this()));
    }

    /// As another program of the user does.
    void put(std::vector<std::uint8_t> bytes) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_bytes = std::move(bytes);
    }

    /// The provider received it.
    void arrived(const std::string& refreshToken) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        Use& use = find(refreshToken);
        if (++use.arrivals > use.begun) {
            m_faults.push_back("sent twice: " + refreshToken);
        }
    }

    std::vector<std::string> takeFaults() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return std::exchange(m_faults, {});
    }

private:
    struct Use {
        std::string token;
        int begun = 0;  // refreshes
        int arrivals = 0;
        bool replaced = false;
    };

    struct Store final : ISecretStore<auth::COIDCToken> {
        explicit Store(std::shared_ptr<Account> owner) : account(std::move(owner)) {}
        void clear() override {}
        void read(std::vector<std::uint8_t>& bytes, bool /*reread*/) override {
            const std::lock_guard<std::mutex> lock(account->m_mutex);
            bytes = account->m_bytes;
        }
        void write(const std::vector<std::uint8_t>& bytes) override {
            const std::lock_guard<std::mutex> lock(account->m_mutex);
            account->m_bytes = bytes;
            for (Use& use : account->m_uses) {
                use.replaced = true;
            }
        }
        const std::shared_ptr<Account> account;
    };

    /// Where the library says that it begins a refresh.
    struct Log final : LoggingUtilities::ILoggerImpl {
        explicit Log(std::shared_ptr<Account> owner) : account(std::move(owner)) {}
        void write(LoggingUtilities::ELogLevel /*level*/, const CString& line) override {
            const std::string text = line.toUtf8();
            const std::string mark = "rtoken = ";
            const auto found = text.find(mark);
            if (found != std::string::npos) {
                const auto begin = found + mark.size();
                account->begins(text.substr(begin, text.size() - begin - 1));
            }
        }
        const std::shared_ptr<Account> account;
    };

    void begins(const std::string& refreshToken) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        Use& use = find(refreshToken);
        ++use.begun;
        if (use.replaced) {
            m_faults.push_back("sent although it was replaced: " + refreshToken);
        }
    }

    Use& find(const std::string& refreshToken) {
        const auto known = std::find_if(m_uses.begin(), m_uses.end(),
                                        [&](const Use& use) { return use.token == refreshToken; });
        if (known != m_uses.end()) {
            return *known;
        }
        // A bound, so that a long run needs no more memory in the end; these last for seconds.
        constexpr std::size_t remembered = 64;
        if (m_uses.size() == remembered) {
            m_uses.pop_front();
        }
        return m_uses.emplace_back(Use{refreshToken});
    }

    const std::string m_client;
    std::mutex m_mutex;  // guards the rest
    std::vector<std::uint8_t> m_bytes;
    std::deque<Use> m_uses;
    std::vector<std::string> m_faults;
};

}  // namespace load
