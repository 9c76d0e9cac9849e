#pragma once

#include "auth/COIDCToken.h"
#include "host/ISecretStore.h"

#include <cstdint>
#include <vector>

namespace tool {

using PlainStore = ISecretStore<auth::COIDCToken>;

/// The store for the token of one client at one provider.
class RecordStore : public PlainStore {
public:
    /// Makes sure that a write can follow. Throws the exceptions of that write.
    virtual void prepareWrite() = 0;
};

/// Keeps the token in a SecretFile or a SecretKeyring. Writing an empty record removes it.
template <class Secret>
class RecordIn final : public RecordStore {
public:
    template <class Place>
    explicit RecordIn(const Place& place) : m_secret(place) {}

    void clear() override { m_secret.clear(); }
    void read(std::vector<std::uint8_t>& bytes, bool reread) override {
        bytes.clear();  // also if reading fails
        bytes = m_secret.read(reread);
    }
    void write(const std::vector<std::uint8_t>& bytes) override {
        bytes.empty() ? m_secret.clear() : m_secret.write(bytes);
    }
    void prepareWrite() override { m_secret.prepareWrite(); }

private:
    Secret m_secret;
};

/// Keeps the token in memory, for the life of the process.
class MemoryRecord final : public RecordStore {
public:
    void clear() override { m_bytes.clear(); }
    void read(std::vector<std::uint8_t>& bytes, bool /*reread*/) override { bytes = m_bytes; }
    void write(const std::vector<std::uint8_t>& bytes) override { m_bytes = bytes; }
    void prepareWrite() override {}

private:
    std::vector<std::uint8_t> m_bytes;
};

}  // namespace tool
