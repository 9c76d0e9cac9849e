#pragma once

#include <cstdint>
#include <vector>

/// Where a secret of type T is kept between runs, as bytes. Implemented by the host application.
///
/// The library calls one store from several threads, and at times from two at once: an
/// implementation guards its own state. The bytes are opaque to the store; what it reads it must
/// return just as it was written, or not at all.
template <class T>
class ISecretStore {
public:
    virtual ~ISecretStore() = default;

    /// Forgets the secret. The library itself never calls this.
    virtual void clear() = 0;

    /// Fills `bytes` with the stored bytes, or leaves it empty when nothing is stored. With
    /// `reread` the store looks at the medium itself and bypasses whatever it remembers. An
    /// exception counts as nothing stored.
    virtual void read(std::vector<std::uint8_t>& bytes, bool reread) = 0;

    /// Replaces what is stored; with nothing, where somebody signs out: what is read then is empty,
    /// as if nothing had been stored. Either the old or the new bytes remain, whatever happens; a
    /// failure is an exception, which reaches the caller of the token operation. A store that has
    /// to tell refreshes from sign-ins: auth/IRefreshAwareStore.h.
    virtual void write(const std::vector<std::uint8_t>& bytes) = 0;
};
