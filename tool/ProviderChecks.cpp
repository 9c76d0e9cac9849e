#include "tool/ProviderChecks.h"

#include <cpprest/base_uri.h>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <sstream>
#include <utility>

namespace tool {

namespace {

using utility::conversions::to_string_t;
using utility::conversions::to_utf8string;
using Json = web::json::value;
using Texts = std::vector<std::string>;
using Use = Check::Use;
using Result = Check::Result;

Result required(bool fulfilled) {
    return fulfilled ? Result::ok : Result::missing;
}

Result advised(bool fulfilled) {
    return fulfilled ? Result::ok : Result::advised;
}

std::optional<std::string> text(const Json& object, const utility::string_t& name) {
    if (!object.has_string_field(name)) {
        return std::nullopt;
    }
    return to_utf8string(object.at(name).as_string());
}

std::optional<Texts> textList(const Json& object, const utility::string_t& name) {
    if (!object.has_array_field(name)) {
        return std::nullopt;
    }
    Texts list;
    for (const Json& item : object.at(name).as_array()) {
        list.push_back(to_utf8string(item.is_string() ? item.as_string() : item.serialize()));
    }
    return list;
}

std::string quoted(const Texts& texts) {
    return texts.empty() ? "nothing" : fmt::format("\"{}\"", fmt::join(texts, "\", \""));
}

Texts words(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

/// Whether what goes there can be read on the way.
bool isExposed(const std::string& url) {
    if (!isHttp(url)) {
        return false;
    }
    const web::uri parsed(to_string_t(url));
    const auto host = to_utf8string(parsed.host());
    const bool isLoopback =
        host == "localhost" || host == "[::1]" || host.compare(0, 4, "127.") == 0;
    return parsed.scheme() == _XPLATSTR("http") && !isLoopback;
}

class ConfigurationChecks {
public:
    ConfigurationChecks(const Json& configuration, std::string configUrl)
        : m_configuration(configuration), m_configUrl(std::move(configUrl)) {}

    void issuer() {
        const auto found = text(m_configuration, _XPLATSTR("issuer"));
        add(Use::any, required(found.has_value()), "issuer", "a text", found.value_or("nothing"));
        if (found) {
            const bool endsWithSlash = !found->empty() && found->back() == '/';
            const auto expected = found->substr(0, found->size() - (endsWithSlash ? 1 : 0)) +
                                  "/.well-known/openid-configuration";
            add(Use::any, advised(expected == m_configUrl), "configuration URL", expected,
                m_configUrl);
        }
    }

    void endpoint(Use use, const utility::string_t& name) {
        const auto found = text(m_configuration, name);
        add(use, required(found && isHttp(*found)), to_utf8string(name), "an http or https URL",
            found.value_or("nothing"));
        if (found && isExposed(*found)) {
            m_exposed.push_back(*found);
        }
    }

    void encryption() {
        if (isExposed(m_configUrl)) {
            m_exposed.push_back(m_configUrl);
        }
        add(Use::any, advised(m_exposed.empty()), "encryption", "https, except on this machine",
            m_exposed.empty() ? "nothing else" : quoted(m_exposed));
    }

    void list(Use use, Result (*weight)(bool), const utility::string_t& name, const Texts& needs) {
        const auto found = textList(m_configuration, name);
        const auto has = [&found](const std::string& need) {
            return std::find(found->begin(), found->end(), need) != found->end();
        };
        add(use, weight(found && std::all_of(needs.begin(), needs.end(), has)), to_utf8string(name),
            quoted(needs), quoted(found.value_or(Texts{})));
    }

    void scopes(const Texts& asked) {
        const utility::string_t name = _XPLATSTR("scopes_supported");
        const auto found = textList(m_configuration, name);
        add(Use::any, required(found.has_value()), to_utf8string(name), "a list",
            quoted(found.value_or(Texts{})));
        if (asked.empty()) {
            return;
        }
        const bool hasOpenid = std::find(asked.begin(), asked.end(), "openid") != asked.end();
        add(Use::login, required(hasOpenid), "scopes to ask for", "\"openid\"", quoted(asked));
        list(Use::any, advised, name, asked);
    }

    std::vector<Check> take() { return std::move(m_checks); }

private:
    void add(Use use, Result result, std::string name, std::string needs, std::string found) {
        m_checks.push_back({use, result, std::move(name), std::move(needs), std::move(found)});
    }

    const Json& m_configuration;
    const std::string m_configUrl;
    Texts m_exposed;
    std::vector<Check> m_checks;
};

/// A key that says less keeps the library from loading any.
bool isReadable(const Json& key) {
    return text(key, _XPLATSTR("kty")) && text(key, _XPLATSTR("use"));
}

/// By its components: certificates are a list, and those of such a key are left alone.
bool isUsable(const Json& key) {
    return text(key, _XPLATSTR("kty")) == "RSA" && text(key, _XPLATSTR("use")) == "sig" &&
           text(key, _XPLATSTR("e")) && text(key, _XPLATSTR("n")) && !text(key, _XPLATSTR("x5c"));
}

/// Tokens name their key, and are compared with the name of each.
bool isNamed(const Json& key) {
    return text(key, _XPLATSTR("kid")).has_value();
}

}  // namespace

bool isHttp(const std::string& url) {
    const auto parsed = to_string_t(url);
    if (!web::uri::validate(parsed)) {
        return false;
    }
    const web::uri uri(parsed);
    return !uri.host().empty() &&
           (uri.scheme() == _XPLATSTR("https") || uri.scheme() == _XPLATSTR("http"));
}

std::vector<Check> checkConfiguration(const Json& configuration, const std::string& configUrl,
                                      const std::string& scopes) {
    ConfigurationChecks checks(configuration, configUrl);
    checks.issuer();
    checks.endpoint(Use::any, _XPLATSTR("authorization_endpoint"));
    checks.endpoint(Use::any, _XPLATSTR("token_endpoint"));
    checks.endpoint(Use::login, _XPLATSTR("jwks_uri"));
    checks.encryption();
    checks.scopes(words(scopes));

    const utility::string_t grants = _XPLATSTR("grant_types_supported");
    const utility::string_t authentication = _XPLATSTR("token_endpoint_auth_methods_supported");
    checks.list(Use::login, required, _XPLATSTR("response_types_supported"), {"code id_token"});
    checks.list(Use::login, required, _XPLATSTR("response_modes_supported"), {"form_post"});
    checks.list(Use::login, required, grants, {"authorization_code", "refresh_token"});
    checks.list(Use::login, required, _XPLATSTR("id_token_signing_alg_values_supported"),
                {"RS256"});
    checks.list(Use::login, advised, _XPLATSTR("code_challenge_methods_supported"), {"S256"});
    checks.list(Use::login, advised, authentication, {"none"});
    checks.list(Use::serviceToken, required, grants, {"client_credentials"});
    checks.list(Use::serviceToken, advised, authentication, {"client_secret_post"});
    return checks.take();
}

std::optional<std::string> signingKeysUrl(const Json& configuration) {
    const auto url = text(configuration, _XPLATSTR("jwks_uri"));
    return url && isHttp(*url) ? url : std::nullopt;
}

std::vector<Check> checkSigningKeys(const Json& keySet) {
    const auto check = [](bool fulfilled, const char* needs, const std::string& found) {
        return Check{Use::login, required(fulfilled), "signing keys", needs, found};
    };
    if (!keySet.has_array_field(_XPLATSTR("keys"))) {
        return {check(false, "a list of keys", "nothing")};
    }
    const web::json::array& keys = keySet.at(_XPLATSTR("keys")).as_array();
    const auto count = [&keys](const auto& has) {
        return static_cast<std::size_t>(std::count_if(keys.begin(), keys.end(), has));
    };
    const auto readable = count(isReadable);
    const auto usable = count(isUsable);
    const auto named = count([](const Json& key) { return isUsable(key) && isNamed(key); });
    const auto of = [](std::size_t some, std::size_t all) {
        return fmt::format("{} of {}", some, all);
    };
    return {check(readable == keys.size(), "kty and use in all", of(readable, keys.size())),
            check(usable > 0, "one with kty RSA, use sig, n and e", of(usable, keys.size())),
            check(named == usable, "kid in each of those", of(named, usable))};
}

}  // namespace tool
