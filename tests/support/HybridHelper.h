#pragma once

#include "tests/support/Application.h"

namespace test {

/// A permit whose calls fail as a test wants.
class FaultyPermit final : public auth::IExclusivePermit {
public:
    using Try = std::function<bool()>;

    std::unique_ptr<auth::IPermitLock> createLock() override {
        return onTry ? std::make_unique<Lock>(onTry) : nullptr;
    }

    Try onTry;

private:
    struct Lock final : auth::IPermitLock {
        explicit Lock(Try tried) : onTry(std::move(tried)) {}
        bool tryLock() override { return onTry(); }
        Try onTry;
    };
};

/// Requests for a user's tokens.
class HybridHelper : public Applications {
protected:
    HybridHelper() {
        provider.signingKey();  // created now, so that no request has to wait for it
        useHelper(permit);
    }

    void useHelper(std::shared_ptr<auth::IExclusivePermit> by) {
        helper = makeHelper(std::move(by));
        helper->setBrowserOpener(user.opener());
    }

    task<COIDCToken> ask(bool authRequested = false,
                         const cancellation_token& token = cancellation_token::none()) {
        return askAt({redirectUrl}, authRequested, token);
    }
    task<COIDCToken> askAt(const std::vector<CString>& urls, bool authRequested,
                           const cancellation_token& token = cancellation_token::none()) {
        return helper->getOIDCTokenHybridAsync(provider.configUrl(), "client", "openid", urls, 0,
                                               token, authRequested);
    }

    TokenRecord expiredRecord() {
        auto record = recordWith({"openid", "more"}, -1h);
        record.refreshToken = provider.issueRefreshToken("client");
        return record;
    }

    void store(const TokenRecord& record) { content->put(record.bytes()); }
    /// Stores a token as another program of the user would.
    void storeFresh() {
        auto record = recordWith({"openid"}, 100h);
        record.accessToken = "of another";
        store(record);
    }
    /// A record to be refreshed, or none.
    void storeFor(bool refreshes) { refreshes ? store(expiredRecord()) : content->put({}); }

    std::size_t reads() {
        const std::lock_guard<std::mutex> lock(content->mutex);
        return content->rereadFlags.size();
    }

    /// Whether it polls repeatedly, but not continuously.
    bool waitsOn() {
        const auto before = reads();
        const auto from = std::chrono::steady_clock::now();
        return eventually([&] { return reads() >= before + 3; }) &&
               std::chrono::steady_clock::now() - from > 90ms;
    }

    bool logged(const std::string& text) {
        return eventually([&] {
            const auto lines = log->lines();
            return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
                return line.find(text) != std::string::npos;
            });
        });
    }
};

}  // namespace test
