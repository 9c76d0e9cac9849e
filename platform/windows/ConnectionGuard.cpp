#include "platform/ConnectionGuard.h"

#include <windows.h>
#include <winhttp.h>

namespace platform {

// WinHTTP keeps its connections to itself. It closes them in step with what else it does with them,
// and limits a head by itself; a body reaches the HTTP library piece by piece, and whoever reports
// the progress of each can end it.

struct ConnectionGuard::Impl {};

namespace {

void set(HINTERNET request, DWORD option, DWORD value) {
    // Where it is not known, what the system does by itself has to do.
    ::WinHttpSetOption(request, option, &value, sizeof(value));
}

}  // namespace

ConnectionGuard::ConnectionGuard(const web::uri& /*origin*/,
                                 web::http::client::http_client_config& config,
                                 std::uint64_t /*limit*/) {
    config.set_nativehandle_options([host = config](web::http::client::native_handle request) {
        constexpr DWORD largestHead = DWORD{64} * 1024;
        set(request, WINHTTP_OPTION_MAX_RESPONSE_HEADER_SIZE, largestHead);
        // Else it would read on what nobody wants any more, to keep the connection.
        set(request, WINHTTP_OPTION_MAX_RESPONSE_DRAIN_SIZE, 0);
        host.invoke_nativehandle_options(request);
    });
}

/// WinHTTP tells nobody.
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
