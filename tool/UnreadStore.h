#pragma once

#include "tool/RecordStore.h"

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace tool {

/// Always reads as empty and forwards writes: so a new sign-in is requested, and if it fails, the
/// stored token remains.
class UnreadStore final : public PlainStore {
public:
    explicit UnreadStore(std::shared_ptr<PlainStore> store) : m_store(std::move(store)) {}

    void clear() override { m_store->clear(); }
    void read(std::vector<std::uint8_t>& bytes, bool /*reread*/) override { bytes.clear(); }
    void write(const std::vector<std::uint8_t>& bytes) override { m_store->write(bytes); }

private:
    std::shared_ptr<PlainStore> m_store;
};

}  // namespace tool
