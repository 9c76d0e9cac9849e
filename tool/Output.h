#pragma once

#include "auth/COIDCToken.h"
#include "host/CString.h"

#include <cpprest/json.h>

#include <string>

namespace tool {

/// Writes the text and a line end to standard output. Throws if that fails.
void print(const std::string& text);
void print(const web::json::value& json);
/// On one line; characters that could harm a terminal are escaped.
std::string textOf(const web::json::value& json);

/// Flushes other writes to standard output. Throws if not everything could be written.
void flushOutput();

web::json::value jsonText(const std::string& utf8);
/// From a text with spaces between its items.
web::json::value jsonList(const CString& items);

/// RFC 3339, whole seconds.
std::string timestamp(auth::COIDCToken::TimePoint time);

}  // namespace tool
