#pragma once

#include "auth/COIDCToken.h"
#include "host/CMemoryArchive.h"
#include "tool/RecordStore.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace tool {

/// Forwards everything to another store and remembers the last record: the complete token that a
/// request returned, even if the file is replaced meanwhile.
class ObservedStore final : public PlainStore {
public:
    /// Shared with the caller, who reads it afterwards.
    class Record {
    public:
        void set(std::vector<std::uint8_t> bytes, bool written) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_bytes = std::move(bytes);
            m_written = written;
        }

        /// Whether the record was written through this store, rather than read.
        bool wasWritten() const {
            const std::lock_guard<std::mutex> lock(m_mutex);
            return m_written;
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
        bool m_written = false;
    };

    ObservedStore(std::shared_ptr<PlainStore> store, std::shared_ptr<Record> record)
        : m_store(std::move(store)), m_record(std::move(record)) {}

    void clear() override { m_store->clear(); }

    void read(std::vector<std::uint8_t>& bytes, bool reread) override {
        m_store->read(bytes, reread);
        m_record->set(bytes, false);
    }

    void write(const std::vector<std::uint8_t>& bytes) override {
        m_store->write(bytes);
        m_record->set(bytes, true);
    }

private:
    std::shared_ptr<PlainStore> m_store;
    std::shared_ptr<Record> m_record;
};

}  // namespace tool
