#include "tool/Asking.h"

#include "tool/FailureText.h"

#include <cpprest/base_uri.h>

namespace tool {

web::http::http_exception named(const web::http::http_exception& error, const std::string& url) {
    const web::uri parsed(utility::conversions::to_string_t(url));
    auto host = utility::conversions::to_utf8string(parsed.host());
    if (!parsed.is_port_default()) {
        host += ':' + std::to_string(parsed.port());
    }
    const std::string text = failureText(error);
    const std::string name = host + ": ";
    return {error.error_code(), text.rfind(name, 0) == 0 ? text : name + text};
}

}  // namespace tool
