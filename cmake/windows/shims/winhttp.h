// The HTTP library closes a request's handle when the request is cancelled, and again when it
// releases the request. By then the handle may belong to another request, which would never
// complete.
#pragma once
#include_next <winhttp.h>

// Only when the library itself is built.
#if defined(_ASYNCRT_EXPORT)
#include <utility>

template <class Handle>
BOOL closeWinHttpOnce(Handle& handle) {
    return WinHttpCloseHandle(std::exchange(handle, nullptr));
}
#define WinHttpCloseHandle closeWinHttpOnce
#endif
