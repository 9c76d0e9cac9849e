#pragma once

#include "auth/COIDCToken.h"
#include "host/ISecretStore.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace bench {

/// A minimal store. Its helper runs one request at a time, so nothing is guarded.
class MemoryStore final : public ISecretStore<auth::COIDCToken> {
public:
    explicit MemoryStore(std::vector<std::uint8_t> bytes = {}) : m_bytes(std::move(bytes)) {}

    void clear() override { m_bytes.clear(); }
    void read(std::vector<std::uint8_t>& bytes, bool /*reread*/) override { bytes = m_bytes; }
    void write(const std::vector<std::uint8_t>& bytes) override { m_bytes = bytes; }

private:
    std::vector<std::uint8_t> m_bytes;
};

}  // namespace bench
