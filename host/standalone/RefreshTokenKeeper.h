#pragma once

#include "auth/IRefreshAwareStore.h"
#include "host/CMemoryArchive.h"
#include "host/ISecretStore.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace standalone {

/// Wraps another store, for providers that answer a refresh without a refresh token. The earlier
/// refresh token then stays valid (RFC 6749, section 6), but the library's record lacks it.
///
/// Such a record gets the refresh token of the record that the other store contains at that moment,
/// if both have the same client, scopes and user (issuer and subject of their ID tokens). A record
/// that cannot be read provides none, and neither does one that a sign-out in any process has
/// removed. A sign-in replaces everything, even one by the same user. A request returns the token
/// as the provider sent it, without a refresh token; the store contains both.
///
/// Give this store directly to the helper: another store around it would hide which records come
/// from a refresh. It is safe for several threads and processes if the other store is and the
/// helpers share a permit. T is auth::COIDCToken.
///
/// \ingroup stores
template <class T>
class RefreshTokenKeeper final : public ISecretStore<T>, public auth::IRefreshAwareStore {
public:
    /// Shares `store`, which must not be null.
    explicit RefreshTokenKeeper(std::shared_ptr<ISecretStore<T>> store)
        : m_store(std::move(store)) {}

    void clear() override { m_store->clear(); }
    void read(std::vector<std::uint8_t>& bytes, bool reread) override {
        m_store->read(bytes, reread);
    }
    void write(const std::vector<std::uint8_t>& bytes) override { m_store->write(bytes); }
    void writeRefreshed(const std::vector<std::uint8_t>& bytes) override {
        m_store->write(completed(bytes));
    }

private:
    using Bytes = std::vector<std::uint8_t>;

    Bytes completed(const Bytes& bytes) const {
        const auto received = load(bytes);
        if (!received || !received->refreshToken().IsEmpty()) {
            return bytes;
        }
        const auto earlier = stored();
        if (!earlier || !isOfSameGrant(*earlier, *received)) {
            return bytes;
        }
        CMemoryArchive archive;
        received->withRefreshToken(earlier->refreshToken()).Serialize(archive);
        archive.Close();
        return archive.detachCompressedData();
    }

    std::optional<T> stored() const {
        Bytes bytes;
        try {
            m_store->read(bytes, true);  // another process may have signed out, or in
        } catch (...) {
            return std::nullopt;
        }
        return load(bytes);
    }

    static std::optional<T> load(const Bytes& bytes) {
        try {
            CMemoryArchive archive(bytes);
            T token;
            token.Serialize(archive);
            archive.Close();
            return token;
        } catch (...) {
            return std::nullopt;
        }
    }

    static bool isOfSameGrant(const T& earlier, const T& received) {
        const auto before = earlier.idTokenClaims();
        const auto now = received.idTokenClaims();
        return earlier.validateClientID(received.clientId()) &&
               earlier.scopes() == received.scopes() && before.subject() &&
               before.subject() == now.subject() && before.claim("iss") == now.claim("iss");
    }

    const std::shared_ptr<ISecretStore<T>> m_store;
};

}  // namespace standalone
