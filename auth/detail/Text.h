#pragma once

#include "host/CString.h"

#include <cpprest/details/basic_types.h>

#include <string>

namespace auth::detail {

// The HTTP library's text is UTF-8 on some systems and UTF-16 on others. It is converted to the
// host's text, and back, only here. Both directions throw std::range_error on malformed text.

utility::string_t toHttpText(const CString& text);
CString fromHttpText(const utility::string_t& text);

}  // namespace auth::detail
