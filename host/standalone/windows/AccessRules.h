#pragma once

#include <windows.h>

#include <cstdint>

namespace standalone::detail {

enum class Exposure : std::uint8_t {
    none,
    otherOwner,    // who can open it to others at any time
    openToOthers,  // in any way
};

/// By owner and access list of a security descriptor. Nobody else than the user are the system and
/// its administrators, who could open to themselves whatever they like.
Exposure exposureOf(void* descriptor, PSID user);

}  // namespace standalone::detail
