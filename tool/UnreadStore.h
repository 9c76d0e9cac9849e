#pragma once

#include "tool/RecordStore.h"

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace tool {

/// Reads as empty and passes on what is written: a new sign-in is asked for, and one that fails
/// leaves the stored token as it is.
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
