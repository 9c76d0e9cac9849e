#pragma once

#include "host/standalone/detail/PrivateFile.h"

#include <windows.h>

namespace standalone::detail {

inline HANDLE handleOf(const Descriptor& descriptor) noexcept {
    return reinterpret_cast<HANDLE>(descriptor.get());
}

/// Empty for INVALID_HANDLE_VALUE.
inline Descriptor descriptorOf(HANDLE handle) noexcept {
    return Descriptor(reinterpret_cast<Descriptor::Value>(handle));
}

/// Virus scanners and indexers open new files for a moment and do not share them. Retries for a
/// second: there is no event to wait for.
template <class Call, class IsPassing>
bool patiently(const Call& call, const IsPassing& isPassing) {
    constexpr DWORD longestPause = 512;
    for (DWORD pause = 1;; pause *= 2) {
        if (call()) {
            return true;
        }
        const DWORD error = ::GetLastError();
        if (pause > longestPause || !isPassing(error)) {
            ::SetLastError(error);
            return false;
        }
        ::Sleep(pause);
    }
}

inline bool isInUse(DWORD error) noexcept {
    return error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION;
}

}  // namespace standalone::detail
