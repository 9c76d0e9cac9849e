#pragma once

#include "host/Export.h"
#include "host/ISecretStore.h"
#include "host/standalone/TokenStoreError.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace standalone {

/// What a secret is called in the desktop's keyring, in UTF-8. Provider and client tell the secrets
/// apart.
struct KeyringEntry {
    std::string provider;  ///< for example the URL of its configuration
    std::string client;    ///< the client id
    std::string label;     ///< what people see in their list of secrets
};

/// The bytes of one secret in the desktop's keyring, as base64 text: what the secret service of the
/// session bus keeps in its default collection.
///
/// A locked keyring asks the user to unlock it; a member that needs it waits for the answer, up to
/// the limit, and with it whoever uses this object meanwhile. Where there is no keyring it fails at
/// once. libsecret is loaded with the first use.
///
/// On Windows every member fails: what its own keyring holds has 2,560 bytes at most, which many
/// tokens exceed. Use FileTokenStore there, which encrypts.
///
/// Safe for several threads, and several processes may use one entry: the last write wins.
/// All members throw TokenStoreError.
class OIDCAUTH_HOST_API SecretKeyring {
public:
    /// In bytes. Far above any token record.
    static constexpr std::size_t maxSize = std::size_t{1} << 20U;

    /// Until `limit` the user may unlock the keyring. A keyring that does not even take back its
    /// question then is given up after as long again.
    explicit SecretKeyring(KeyringEntry entry,
                           std::chrono::milliseconds limit = std::chrono::minutes(2));

    /// Removes the entry.
    void clear();

    /// The bytes, or none when there is no entry. With `reread` they come from the keyring;
    /// otherwise they may be those that this object read or wrote last. To ask the keyring each
    /// time would cost a message to another process, and the user a question when it has been
    /// locked meanwhile: so what others write or remove shows with the next `reread`, which a
    /// helper makes as soon as the token that it has does not serve.
    std::vector<std::uint8_t> read(bool reread);

    void write(const std::vector<std::uint8_t>& bytes);

    /// Finds out whether a write can succeed, by an entry beside this one that holds no secret and
    /// is removed at once: for who asks for a secret that can be had only once.
    void prepareWrite();

private:
    std::mutex m_mutex;  // guards the cache
    KeyringEntry m_entry;
    std::chrono::milliseconds m_limit;
    std::optional<std::vector<std::uint8_t>> m_cache;
};

/// Keeps the library's secret of type T in a SecretKeyring. Written as empty, it is removed.
template <class T>
class KeyringTokenStore final : public ISecretStore<T> {
public:
    explicit KeyringTokenStore(const KeyringEntry& entry) : m_keyring(entry) {}

    void clear() override { m_keyring.clear(); }
    void read(std::vector<std::uint8_t>& bytes, bool reread) override {
        bytes.clear();  // also when reading fails
        bytes = m_keyring.read(reread);
    }
    void write(const std::vector<std::uint8_t>& bytes) override {
        bytes.empty() ? m_keyring.clear() : m_keyring.write(bytes);
    }

private:
    SecretKeyring m_keyring;
};

}  // namespace standalone
