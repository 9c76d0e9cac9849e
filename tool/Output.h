#pragma once

#include "auth/COIDCToken.h"
#include "host/CString.h"

#include <cpprest/json.h>

#include <string>

namespace tool {

/// Writes the text and a line end to standard output. Throws when that takes no more.
void print(const std::string& text);
void print(const web::json::value& json);
/// On one line; what could do harm to a terminal is escaped in its texts.
std::string textOf(const web::json::value& json);

/// Sends off what was written to standard output otherwise. Throws when that took not all of it.
void flushOutput();

web::json::value jsonText(const std::string& utf8);
/// Of a text with spaces between its items.
web::json::value jsonList(const CString& items);

/// RFC 3339, whole seconds.
std::string timestamp(auth::COIDCToken::TimePoint time);

}  // namespace tool
