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

/// The name of a secret in the desktop's keyring, in UTF-8. Secrets are told apart by provider and
/// client.
///
/// \ingroup stores
struct KeyringEntry {
    std::string provider;  ///< for example the URL of its configuration document
    std::string client;    ///< the client id
    std::string label;     ///< shown to people in their list of secrets
};

/// The bytes of one secret in the desktop's keyring: the default collection of the session bus's
/// secret service. They are kept as base64 text.
///
/// A locked keyring asks the user to unlock it. A member that needs the keyring waits for the
/// answer, up to the limit, and other threads that use this object wait for that member. The first
/// use loads libsecret, through the module of the installation component OIDCAuth_Keyring. Without
/// the module or a keyring, members fail at once.
///
/// On Windows, every member fails: the system's own keyring holds at most 2,560 bytes per entry,
/// which many tokens exceed. Use FileTokenStore there; it encrypts.
///
/// Safe for several threads. Several processes may use one entry: the last write wins. All members
/// throw TokenStoreError.
///
/// \ingroup stores
class OIDCAUTH_HOST_API SecretKeyring {
public:
    /// The largest secret, in bytes. Far above any token.
    static constexpr std::size_t maxSize = std::size_t{1} << 20U;

    /// The user has `limit` to unlock the keyring; then the question is withdrawn. If the keyring
    /// does not withdraw it within another `limit`, the call fails nevertheless.
    explicit SecretKeyring(KeyringEntry entry,
                           std::chrono::milliseconds limit = std::chrono::minutes(2));

    /// Removes the entry.
    void clear();

    /// The bytes, or none if there is no entry.
    ///
    /// With `reread`, they come from the keyring. Without it, they may be those that this object
    /// read or wrote last. Asking the keyring each time would cost a message to another process,
    /// and a question to the user if the keyring has been locked. So a change by others is noticed
    /// only at the next `reread`. A helper makes one as soon as the remembered token is no longer
    /// valid for a request.
    std::vector<std::uint8_t> read(bool reread);

    /// Replaces the bytes. More than maxSize bytes are refused.
    void write(const std::vector<std::uint8_t>& bytes);

    /// Finds out whether a write can succeed: writes an entry without a secret beside this one and
    /// removes it at once. Call it before you request a secret that is given out only once.
    void prepareWrite();

private:
    std::mutex m_mutex;  // guards the cache
    KeyringEntry m_entry;
    std::chrono::milliseconds m_limit;
    std::optional<std::vector<std::uint8_t>> m_cache;
};

/// Keeps the library's secret of type T in a SecretKeyring. Writing no bytes removes the entry.
///
/// \ingroup stores
template <class T>
class KeyringTokenStore final : public ISecretStore<T> {
public:
    /// As SecretKeyring's constructor, with a limit of two minutes.
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
