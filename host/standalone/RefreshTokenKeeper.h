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

/// Wraps another store, for providers whose answer to a refresh brings no refresh token: the
/// earlier one then remains good (RFC 6749, section 6), while the library's record has none.
///
/// Such a record gets the refresh token of the record that the other store has at that moment,
/// where both are of the same client, scopes and user, that is issuer and subject of their ID
/// tokens. Nothing is kept of what cannot be read, nor after a sign-out in whichever process; and a
/// sign-in replaces everything, also one of the same user. The token that a request gives to its
/// caller is the provider's, without a refresh token; the store has both.
///
/// Give it to the helper itself: a store around it would hide what it has to be told. Safe for
/// several threads and processes where the other store is and the helpers share a permit. T is
/// auth::COIDCToken.
template <class T>
class RefreshTokenKeeper final : public ISecretStore<T>, public auth::IRefreshAwareStore {
public:
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
