#pragma once

#include "auth/COIDCToken.h"
#include "host/CMemoryArchive.h"
#include "host/ISecretStore.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace tool {

/// Passes everything on to another store and remembers the record that came through last: the whole
/// of the token that a request answered with, even if the file is replaced meanwhile.
class ObservedStore final : public ISecretStore<auth::COIDCToken> {
public:
    /// Shared with the caller, who asks afterwards.
    class Record {
    public:
        void set(std::vector<std::uint8_t> bytes) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_bytes = std::move(bytes);
        }

        auth::COIDCToken token() const {
            const std::lock_guard<std::mutex> lock(m_mutex);
            CMemoryArchive archive(m_bytes);
            auth::COIDCToken token;
            token.Serialize(archive);
            return token;
        }

    private:
        mutable std::mutex m_mutex;
        std::vector<std::uint8_t> m_bytes;
    };

    ObservedStore(std::unique_ptr<ISecretStore<auth::COIDCToken>> store,
                  std::shared_ptr<Record> record)
        : m_store(std::move(store)), m_record(std::move(record)) {}

    void clear() override { m_store->clear(); }

    void read(std::vector<std::uint8_t>& bytes, bool reread) override {
        m_store->read(bytes, reread);
        m_record->set(bytes);
    }

    void write(const std::vector<std::uint8_t>& bytes) override {
        m_store->write(bytes);
        m_record->set(bytes);
    }

private:
    std::unique_ptr<ISecretStore<auth::COIDCToken>> m_store;
    std::shared_ptr<Record> m_record;
};

}  // namespace tool
