#include "host/standalone/detail/Keyring.h"

namespace standalone::detail {

const IKeyring& keyring() {
    // An entry of the system's own has room for 2,560 bytes, which the tokens of many exceed.
    throw TokenStoreError(
        "no keyring can be used: Windows has none for secrets of this size; keep the token in a "
        "file, which is encrypted for its user");
}

}  // namespace standalone::detail
