#include "tool/FailureText.h"

#include <windows.h>
#include <winhttp.h>

#include <algorithm>
#include <array>

namespace tool {

namespace {

struct Known {
    DWORD code;
    const char* text;
};

/// The errors that people are likely to see. The system's own texts name functions, are localised,
/// and can be missing.
constexpr std::array known{
    Known{ERROR_WINHTTP_TIMEOUT, "no answer in time"},
    Known{ERROR_WINHTTP_NAME_NOT_RESOLVED, "the host name cannot be resolved"},
    Known{ERROR_WINHTTP_CANNOT_CONNECT, "cannot connect"},
    Known{ERROR_WINHTTP_CONNECTION_ERROR,
          "the connection was closed before the answer was complete"},
    Known{ERROR_WINHTTP_INVALID_SERVER_RESPONSE, "the answer is not HTTP"},
    Known{ERROR_WINHTTP_HEADER_SIZE_OVERFLOW, "the head of the answer is too large"},
    Known{ERROR_WINHTTP_SECURE_FAILURE, "no TLS connection with a trusted certificate"},
    Known{ERROR_WINHTTP_SECURE_CHANNEL_ERROR, "no TLS connection can be made"},
    Known{ERROR_WINHTTP_SECURE_INVALID_CA, "its certificate's authority is not trusted"},
    Known{ERROR_WINHTTP_SECURE_CERT_CN_INVALID, "its certificate is for another host"},
    Known{ERROR_WINHTTP_SECURE_CERT_DATE_INVALID,
          "its certificate has expired or is not valid yet"},
    Known{ERROR_WINHTTP_SECURE_CERT_REVOKED, "its certificate was revoked"},
    Known{ERROR_WINHTTP_SECURE_CERT_REV_FAILED, "cannot check whether its certificate was revoked"},
    Known{ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED, "it requires a client certificate"},
};

}  // namespace

std::string failureText(const web::http::http_exception& failure) {
    const auto code = static_cast<DWORD>(failure.error_code().value());
    const auto* const found = std::find_if(known.begin(), known.end(),
                                           [code](const Known& item) { return item.code == code; });
    if (found != known.end()) {
        return found->text + (" (WinHTTP " + std::to_string(code)) + ')';
    }
    std::string text = failure.what();
    text.erase(text.find_last_not_of(" \r\n") + 1);
    return text;
}

}  // namespace tool
