#include "host/standalone/detail/Keyring.h"

namespace standalone::detail {

const IKeyring& keyring() {
    // The system's own entries have room for 2,560 bytes, and many tokens are larger.
    throw TokenStoreError(
        "no keyring can be used: Windows has none for secrets of this size; keep the token in a "
        "file, which is encrypted for its user");
}

}  // namespace standalone::detail
