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

/// Those that people come to see. The system's own texts name functions, are in one of many
/// languages, and can be missing.
constexpr std::array known{
    Known{ERROR_WINHTTP_TIMEOUT, "it does not answer in time"},
    Known{ERROR_WINHTTP_NAME_NOT_RESOLVED, "this name of a host cannot be resolved"},
    Known{ERROR_WINHTTP_CANNOT_CONNECT, "no connection can be made"},
    Known{ERROR_WINHTTP_CONNECTION_ERROR, "the connection was closed before the answer was whole"},
    Known{ERROR_WINHTTP_INVALID_SERVER_RESPONSE, "the answer is no HTTP"},
    Known{ERROR_WINHTTP_HEADER_SIZE_OVERFLOW, "the head of the answer is too large"},
    Known{ERROR_WINHTTP_SECURE_FAILURE, "no TLS connection with a certificate that is trusted"},
    Known{ERROR_WINHTTP_SECURE_CHANNEL_ERROR, "no TLS connection can be made"},
    Known{ERROR_WINHTTP_SECURE_INVALID_CA, "no authority of its certificate is trusted"},
    Known{ERROR_WINHTTP_SECURE_CERT_CN_INVALID, "its certificate is that of another host"},
    Known{ERROR_WINHTTP_SECURE_CERT_DATE_INVALID, "its certificate is not valid at this time"},
    Known{ERROR_WINHTTP_SECURE_CERT_REVOKED, "its certificate was revoked"},
    Known{ERROR_WINHTTP_SECURE_CERT_REV_FAILED,
          "it cannot be asked whether its certificate was revoked"},
    Known{ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED, "it asks for a certificate of the client"},
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
