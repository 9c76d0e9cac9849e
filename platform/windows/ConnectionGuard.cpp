#include "platform/ConnectionGuard.h"

#include <windows.h>
#include <winhttp.h>

namespace platform {

// WinHTTP owns its connections. It closes them safely and limits heads by itself. A body reaches
// the HTTP library in parts, and the handler that reports the progress of each can end it.

struct ConnectionGuard::Impl {};

namespace {

void set(HINTERNET request, DWORD option, DWORD value) {
    // Where the option is not known, the system's default must do.
    ::WinHttpSetOption(request, option, &value, sizeof(value));
}

}  // namespace

ConnectionGuard::ConnectionGuard(const web::uri& /*origin*/,
                                 web::http::client::http_client_config& config,
                                 std::uint64_t /*limit*/) {
    config.set_nativehandle_options([host = config](web::http::client::native_handle request) {
        constexpr DWORD largestHead = DWORD{64} * 1024;
        set(request, WINHTTP_OPTION_MAX_RESPONSE_HEADER_SIZE, largestHead);
        // Otherwise it would read an unwanted answer to its end, to keep the connection.
        set(request, WINHTTP_OPTION_MAX_RESPONSE_DRAIN_SIZE, 0);
        host.invoke_nativehandle_options(request);
    });
}

/// WinHTTP does not say.
bool ConnectionGuard::noticesClosedOnes() const {
    return false;
}

void ConnectionGuard::close(std::function<void()> cancel) const {
    cancel();
}

void ConnectionGuard::begin() const {}

bool ConnectionGuard::isFlooded() const {
    return false;
}

}  // namespace platform
