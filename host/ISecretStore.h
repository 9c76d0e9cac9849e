#pragma once

#include <cstdint>
#include <vector>

/// Keeps one secret of type T between runs, as bytes. A program implements it, or uses
/// standalone::FileTokenStore or standalone::KeyringTokenStore.
///
/// The library calls a store on several threads, sometimes on two at once: an implementation must
/// guard its state. The bytes are opaque to the store. It must return them exactly as they were
/// written, or not at all.
///
/// \ingroup stores
template <class T>
class ISecretStore {
public:
    virtual ~ISecretStore() = default;

    /// Removes the secret. The library never calls this.
    virtual void clear() = 0;

    /// Fills `bytes` with the stored bytes, or leaves it empty if nothing is stored. With `reread`,
    /// the store must read the medium itself and ignore anything that it remembers. An exception
    /// counts as "nothing stored".
    virtual void read(std::vector<std::uint8_t>& bytes, bool reread) = 0;

    /// Replaces the stored bytes. A sign-out writes no bytes; read() then gives none, as if nothing
    /// had been stored.
    ///
    /// Whatever happens, either the old or the new bytes must remain. A failure is an exception,
    /// which the caller of the token operation receives; auth::IStoreFailure marks it as one of a
    /// store. A store that must tell refreshes from sign-ins also derives from
    /// auth::IRefreshAwareStore.
    virtual void write(const std::vector<std::uint8_t>& bytes) = 0;
};
