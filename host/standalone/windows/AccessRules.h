#pragma once

#include <windows.h>

#include <cstdint>

namespace standalone::detail {

enum class Exposure : std::uint8_t {
    none,
    otherOwner,    // the owner can open it to others at any time
    openToOthers,  // in any way
};

/// Judges a security descriptor by its owner and access list. The system and its administrators are
/// trusted like the user: they can give themselves any access.
Exposure exposureOf(void* descriptor, PSID user);

}  // namespace standalone::detail
