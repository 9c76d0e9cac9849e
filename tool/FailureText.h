#pragma once

#include <cpprest/http_msg.h>

#include <string>

namespace tool {

/// The text of a failure of the HTTP library, on one line.
std::string failureText(const web::http::http_exception& failure);

}  // namespace tool
