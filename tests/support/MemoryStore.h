#pragma once

#include "auth/COIDCToken.h"
#include "host/ISecretStore.h"
#include "tests/support/Common.h"

namespace test {

/// The content of a MemoryStore and the calls to it. Shared with the test, since the helper owns
/// the store itself.
struct StoreContent {
    /// As another program of the user would.
    void put(std::vector<std::uint8_t> record) {
        const std::lock_guard<std::mutex> lock(mutex);
        bytes = std::move(record);
    }

    std::mutex mutex;
    std::vector<std::uint8_t> bytes;
    std::vector<bool> rereadFlags;  // of each read, in order
    int writes = 0;
    std::exception_ptr readFailure;
    std::exception_ptr writeFailure;
    std::function<void()> afterRead;
};

class MemoryStore final : public ISecretStore<auth::COIDCToken> {
public:
    explicit MemoryStore(std::shared_ptr<StoreContent> content) : m_content(std::move(content)) {}

    void clear() override { m_content->put({}); }
    void read(std::vector<std::uint8_t>& bytes, bool reread) override {
        std::unique_lock<std::mutex> lock(m_content->mutex);
        m_content->rereadFlags.push_back(reread);
        if (m_content->readFailure) {
            std::rethrow_exception(m_content->readFailure);
        }
        bytes = m_content->bytes;
        const auto call = m_content->afterRead;
        lock.unlock();
        if (call) {
            call();
        }
    }

    void write(const std::vector<std::uint8_t>& bytes) override {
        const std::lock_guard<std::mutex> lock(m_content->mutex);
        if (m_content->writeFailure) {
            std::rethrow_exception(m_content->writeFailure);
        }
        ++m_content->writes;
        m_content->bytes = bytes;
    }

private:
    std::shared_ptr<StoreContent> m_content;
};

}  // namespace test
