#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace auth::testing::detail {

using Members = std::map<std::string, std::string>;                 // values are JSON
using Changes = std::map<std::string, std::optional<std::string>>;  // without value: removed

std::string quoted(const std::string& text);
std::string object(const Members& members);
Members changed(Members members, const Changes& changes);

/// With padding, without line breaks.
std::string base64(std::string_view bytes);
/// Without padding (RFC 7515, section 2).
std::string base64url(std::string_view bytes);

/// Different for each call, in all providers and processes.
std::string unique(const std::string& prefix);

}  // namespace auth::testing::detail
