#include "testing/RecordedRequest.h"

#include <boost/beast/core/string.hpp>
#include <openssl/evp.h>

#include <algorithm>
#include <charconv>

namespace auth::testing {
namespace {

using boost::beast::iequals;

// Returns the text before the first separator; `rest` keeps the text after it.
std::string_view cut(std::string_view& rest, char separator) {
    const auto first = rest.substr(0, rest.find(separator));
    rest.remove_prefix(first.size() + (first.size() < rest.size() ? 1 : 0));
    return first;
}

// An invalid escape is left unchanged.
std::string formDecoded(std::string_view text) {
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        unsigned code = 0;
        const char* const digits = text.data() + at + 1;
        if (text[at] == '%' && at + 2 < text.size() &&
            std::from_chars(digits, digits + 2, code, 16).ptr == digits + 2) {
            result += static_cast<char>(code);
            at += 2;
        } else {
            result += text[at] == '+' ? ' ' : text[at];
        }
    }
    return result;
}

Fields decodedFields(std::string_view rest) {
    Fields fields;
    while (!rest.empty()) {
        auto value = cut(rest, '&');
        const auto name = cut(value, '=');
        fields.emplace_back(formDecoded(name), formDecoded(value));
    }
    return fields;
}

std::string firstOf(const Fields& fields, std::string_view name) {
    for (const auto& [candidate, value] : fields) {
        if (candidate == name) {
            return value;
        }
    }
    return {};
}

std::string base64Decoded(const std::string& text) {
    std::string bytes(text.size(), '\0');
    const int size = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                                     reinterpret_cast<const unsigned char*>(text.data()),
                                     static_cast<int>(text.size()));
    // The decoder counts the padding as zero bytes.
    const auto decoded = static_cast<std::size_t>(std::max(size, 0));
    const auto padding = text.size() - 1 - text.find_last_not_of('=');
    bytes.resize(decoded - std::min(decoded, padding));
    return bytes;
}

}  // namespace

std::string RecordedRequest::header(std::string_view name) const {
    for (const auto& [candidate, value] : headers) {
        if (iequals(candidate, {name.data(), name.size()})) {
            return value;
        }
    }
    return {};
}

Fields RecordedRequest::form() const {
    return decodedFields(body);
}

std::string RecordedRequest::field(std::string_view name) const {
    return firstOf(form(), name);
}

Fields RecordedRequest::query() const {
    std::string_view rest = target;
    cut(rest, '?');
    return decodedFields(rest);
}

std::string RecordedRequest::parameter(std::string_view name) const {
    return firstOf(query(), name);
}

std::pair<std::string, std::string> RecordedRequest::client() const {
    const std::string authorization = header("Authorization");
    constexpr std::size_t schemeSize = 6;
    if (!iequals(authorization.substr(0, schemeSize), "Basic ")) {
        return {field("client_id"), field("client_secret")};
    }
    const auto credentials = base64Decoded(authorization.substr(schemeSize));
    std::string_view secret = credentials;
    const auto id = cut(secret, ':');
    return {formDecoded(id), formDecoded(secret)};
}

}  // namespace auth::testing
