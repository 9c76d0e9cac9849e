#pragma once

#include <cpprest/http_msg.h>

#include <string>

namespace tool {

/// What a failure of the HTTP library says, in one line.
std::string failureText(const web::http::http_exception& failure);

}  // namespace tool
