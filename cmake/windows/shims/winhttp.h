// The HTTP library closes a request's handle when the request is cancelled, and again when it lets
// go of it: by then the handle may be that of another request, which nobody would ever hear of
// again.
#pragma once
#include_next <winhttp.h>

// Only where the library itself is built.
#if defined(_ASYNCRT_EXPORT)
#include <utility>

template <class Handle>
BOOL closeWinHttpOnce(Handle& handle) {
    return WinHttpCloseHandle(std::exchange(handle, nullptr));
}
#define WinHttpCloseHandle closeWinHttpOnce
#endif
