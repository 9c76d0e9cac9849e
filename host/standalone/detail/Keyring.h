#pragma once

#include "host/standalone/KeyringTokenStore.h"

#include <chrono>
#include <optional>
#include <string>

namespace standalone::detail {

/// Text in the desktop's keyring. Implemented in a separate module: libsecret and its dependencies
/// would make the start of every program a third longer, and most programs never use it. All
/// members throw TokenStoreError and may be called from several threads at once.
class IKeyring {
public:
    virtual std::optional<std::string> read(const KeyringEntry& entry,
                                            std::chrono::milliseconds limit) const = 0;
    virtual void write(const KeyringEntry& entry, const std::string& text,
                       std::chrono::milliseconds limit) const = 0;
    virtual void clear(const KeyringEntry& entry, std::chrono::milliseconds limit) const = 0;

protected:
    ~IKeyring() = default;
};

/// The keyring of this process. Throws TokenStoreError if there is none.
const IKeyring& keyring();

[[noreturn]] inline void refuse(const KeyringEntry& entry, const std::string& why) {
    throw TokenStoreError("keyring entry \"" + entry.label + "\": " + why);
}

}  // namespace standalone::detail

/// The module's keyring, valid for the life of the process.
extern "C" OIDCAUTH_HOST_API const standalone::detail::IKeyring* oidcauthKeyring();
