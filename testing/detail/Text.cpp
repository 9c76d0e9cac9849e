#include "testing/detail/Text.h"

#include <openssl/evp.h>
#include <picojson.h>

#include <algorithm>
#include <atomic>
#include <random>

namespace auth::testing::detail {

std::string quoted(const std::string& text) {
    return picojson::value(text).serialize();
}

std::string object(const Members& members) {
    std::string text = "{";
    for (const auto& [name, json] : members) {
        text.append(text.size() > 1 ? "," : "").append(quoted(name)).append(":").append(json);
    }
    return text + "}";
}

Members changed(Members members, const Changes& changes) {
    for (const auto& [name, json] : changes) {
        members.erase(name);
        if (json) {
            members.emplace(name, *json);
        }
    }
    return members;
}

std::string base64(std::string_view bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');  // the encoder writes a final zero
    const int size = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                                     reinterpret_cast<const unsigned char*>(bytes.data()),
                                     static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(size));
    return text;
}

std::string base64url(std::string_view bytes) {
    auto text = base64(bytes);
    text.resize(text.find_last_not_of('=') + 1);
    std::replace(text.begin(), text.end(), '+', '-');
    std::replace(text.begin(), text.end(), '/', '_');
    return text;
}

std::string unique(const std::string& prefix) {
    static const auto process = std::random_device()();
    static std::atomic<unsigned> count{0};
    return prefix + '-' + std::to_string(process) + '-' + std::to_string(++count);
}

}  // namespace auth::testing::detail
