#include "testing/detail/Authorization.h"

#include <openssl/sha.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace auth::testing::detail {
namespace {

bool present(const std::string& value) {
    return !value.empty();
}

// The page can only post to such a URL, and a fragment is never sent.
bool postable(const std::string& uri) {
    return (uri.rfind("http://", 0) == 0 || uri.rfind("https://", 0) == 0) &&
           uri.find('#') == std::string::npos;
}

bool forOpenId(const std::string& scope) {
    return (' ' + scope + ' ').find(" openid ") != std::string::npos;
}

bool digestOfVerifier(const std::string& challenge) {
    constexpr std::size_t sha256Size = 43;
    constexpr const auto* alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    return challenge.size() == sha256Size &&
           challenge.find_first_not_of(alphabet) == std::string::npos;
}

struct Requirement {
    const char* name;
    bool (*meets)(const std::string& value);
};

constexpr std::array requirements{
    Requirement{"response_type", [](const std::string& value) { return value == "code id_token"; }},
    Requirement{"response_mode", [](const std::string& value) { return value == "form_post"; }},
    Requirement{"client_id", present},
    Requirement{"redirect_uri", postable},
    Requirement{"scope", forOpenId},
    Requirement{"nonce", present},
    Requirement{"state", present},
    Requirement{"code_challenge", digestOfVerifier},
    Requirement{"code_challenge_method", [](const std::string& value) { return value == "S256"; }},
};

std::string escaped(std::string_view text) {
    std::string html;
    for (const char character : text) {
        switch (character) {
            case '&':
                html += "&amp;";
                break;
            case '<':
                html += "&lt;";
                break;
            case '>':
                html += "&gt;";
                break;
            case '"':
                html += "&quot;";
                break;
            default:
                html += character;
        }
    }
    return html;
}

}  // namespace

std::string complaintAbout(const Fields& query) {
    for (const auto& [name, meets] : requirements) {
        const auto named = [name = name](const auto& field) { return field.first == name; };
        const auto found = std::find_if(query.begin(), query.end(), named);
        if (found == query.end()) {
            return std::string("missing parameter ") + name;
        }
        if (std::find_if(found + 1, query.end(), named) != query.end()) {
            return std::string("repeated parameter ") + name;
        }
        if (!meets(found->second)) {
            return std::string("wrong parameter ") + name;
        }
    }
    return {};
}

std::string postingPage(const std::string& action, const Members& fields) {
    std::string page = R"html(<!doctype html>
<html><head><meta charset="utf-8"><title>Signed in</title></head>
<body onload="document.forms[0].submit()">
<form method="post" action=")html";
    page += escaped(action) + "\">\n";
    for (const auto& [name, value] : fields) {
        page += R"(<input type="hidden" name=")" + escaped(name) + R"(" value=")" + escaped(value) +
                "\">\n";
    }
    return page + "<noscript><button>Continue</button></noscript>\n</form></body></html>\n";
}

std::string codeHash(const std::string& code) {
    std::array<unsigned char, SHA256_DIGEST_LENGTH> digest{};
    SHA256(reinterpret_cast<const unsigned char*>(code.data()), code.size(), digest.data());
    return base64url({reinterpret_cast<const char*>(digest.data()), digest.size() / 2});
}

}  // namespace auth::testing::detail
