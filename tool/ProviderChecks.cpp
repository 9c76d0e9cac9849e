#include "tool/ProviderChecks.h"

#include "tool/Options.h"

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

/// Whether others can read the traffic to this URL.
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

/// The list in a member; missing if the member is not a list.
class Offer {
public:
    Offer(const Json& configuration, const utility::string_t& name)
        : m_list(textList(configuration, name)) {}

    bool isThere() const { return m_list.has_value(); }
    bool has(const std::string& text) const {
        return m_list && std::find(m_list->begin(), m_list->end(), text) != m_list->end();
    }
    bool hasAll(const Texts& texts) const {
        return m_list && std::all_of(texts.begin(), texts.end(),
                                     [this](const std::string& text) { return has(text); });
    }
    std::string found() const { return quoted(m_list.value_or(Texts{})); }

private:
    std::optional<Texts> m_list;
};

/// A provider may support what its document leaves out; but if the document rules something out, an
/// amended copy does not help.
const char* const addToCopy =
    "If the provider supports it anyway, serve an amended copy of the configuration that says so, "
    "and give its URL as --config-url.";

class ConfigurationChecks {
public:
    ConfigurationChecks(const Json& configuration, const Asked& asked)
        : m_configuration(configuration), m_asked(asked) {}

    void issuer() {
        const auto found = text(m_configuration, _XPLATSTR("issuer"));
        const std::string shown = found.value_or("nothing");
        add(Use::any, required(found.has_value()), "issuer", "a text", shown,
            "In an amended copy of the configuration, set it to the iss of the provider's tokens.");
        if (!m_asked.issuer.empty()) {
            add(Use::any, required(found == m_asked.issuer), "--issuer", m_asked.issuer, shown,
                "If this is the right provider, give its issuer exactly as found. For an amended "
                "copy, use --config-url.");
        } else if (found) {
            ProviderAddress usual;
            usual.issuer = *found;
            const std::string expected = usual.url();
            add(Use::any, advised(expected == m_asked.configUrl), "configuration URL", expected,
                m_asked.configUrl,
                "This is normal for an amended copy. Otherwise make sure that this is the issuer "
                "that you mean.");
        }
    }

    void endpoint(Use use, const utility::string_t& name) {
        const auto found = text(m_configuration, name);
        add(use, required(found && isHttp(*found)), to_utf8string(name), "an http or https URL",
            found.value_or("nothing"), addToCopy);
        if (found && isHttp(*found)) {
            m_urls.push_back(*found);
        }
    }

    /// The library drops the endpoint's query.
    void tokenQuery() {
        const auto found = text(m_configuration, _XPLATSTR("token_endpoint"));
        if (found && isHttp(*found) && !web::uri(to_string_t(*found)).query().empty()) {
            add(Use::any, Result::advised, "token_endpoint", "no query, since a query is not sent",
                *found,
                "If the provider has the same endpoint without a query, name that in an amended "
                "copy of the configuration.");
        }
    }

    void encryption() {
        Texts exposed = m_urls;
        exposed.push_back(m_asked.configUrl);
        exposed.erase(std::remove_if(exposed.begin(), exposed.end(),
                                     [](const std::string& url) { return !isExposed(url); }),
                      exposed.end());
        add(Use::any, advised(exposed.empty()), "encryption", "https, except on this machine",
            exposed.empty() ? "https, except on this machine" : quoted(exposed),
            "Enable https at the provider: others can read secrets and tokens in transit.");
    }

    /// A provider behind a proxy that does not know its own address names an internal host.
    void hosts() {
        const auto hostOf = [](const std::string& url) {
            return to_utf8string(web::uri(to_string_t(url)).host());
        };
        const auto issuer = text(m_configuration, _XPLATSTR("issuer"));
        if (!issuer || !isHttp(*issuer)) {
            return;
        }
        Texts others;
        std::copy_if(m_urls.begin(), m_urls.end(), std::back_inserter(others),
                     [&](const std::string& url) { return hostOf(url) != hostOf(*issuer); });
        if (!others.empty()) {
            add(Use::any, Result::advised, "hosts", hostOf(*issuer) + ", as the issuer's",
                quoted(others),
                "Some providers use several hosts. Otherwise set the provider's public address in "
                "its configuration: it may be behind a proxy.");
        }
    }

    void list(Use use, Result (*weight)(bool), const utility::string_t& name, const Texts& needs,
              const std::string& remedy) {
        const Offer offer(m_configuration, name);
        const Result result = weight(offer.hasAll(needs));
        add(use, result, to_utf8string(name), quoted(needs), offer.found(),
            result == Result::missing && !offer.isThere() ? addToCopy : remedy);
    }

    void scopes() {
        const utility::string_t name = _XPLATSTR("scopes_supported");
        const Offer offer(m_configuration, name);
        add(Use::any, required(offer.isThere()), to_utf8string(name), "a list", offer.found(),
            "List them in an amended copy of the configuration.");
        const Texts asked = words(m_asked.scopes);
        if (asked.empty()) {
            return;
        }
        const bool hasOpenid = std::find(asked.begin(), asked.end(), "openid") != asked.end();
        add(Use::login, required(hasOpenid), "scopes to ask for", "\"openid\"", quoted(asked),
            "Add openid to --scopes: without it a provider issues no ID token.");
        list(Use::any, advised, name, asked,
             "Define the scope at the provider and allow it for the client. Some providers accept "
             "scopes that they do not list.");
    }

    /// Requirements of the provider that make it refuse the library's authorization requests.
    void plainRequests() {
        for (const utility::string_t name : {_XPLATSTR("require_pushed_authorization_requests"),
                                             _XPLATSTR("require_signed_request_object")}) {
            if (m_configuration.has_boolean_field(name) && m_configuration.at(name).as_bool()) {
                add(Use::login, Result::missing, to_utf8string(name), "false", "true",
                    "Disable it at the provider: the authorization request is sent as a plain "
                    "URL.");
            }
        }
    }

    std::vector<Check> take() { return std::move(m_checks); }

private:
    void add(Use use, Result result, std::string name, std::string needs, std::string found,
             std::string remedy) {
        m_checks.push_back({use, result, std::move(name), std::move(needs), std::move(found),
                            result == Result::ok ? "" : std::move(remedy)});
    }

    const Json& m_configuration;
    const Asked& m_asked;
    Texts m_urls;
    std::vector<Check> m_checks;
};

/// A key without these members keeps the library from loading any key.
bool isReadable(const Json& key) {
    return text(key, _XPLATSTR("kty")) && text(key, _XPLATSTR("use"));
}

/// Usable by its RSA components. A list of certificates (x5c) is ignored; a text in its place makes
/// the key unusable.
bool isUsable(const Json& key) {
    return text(key, _XPLATSTR("kty")) == "RSA" && text(key, _XPLATSTR("use")) == "sig" &&
           text(key, _XPLATSTR("e")) && text(key, _XPLATSTR("n")) && !text(key, _XPLATSTR("x5c"));
}

/// Tokens name their key; that name is compared with the name of each key.
bool isNamed(const Json& key) {
    return text(key, _XPLATSTR("kid")).has_value();
}

/// The algorithm that the key names; tokens are checked by the one that they name.
bool isForRs256(const Json& key) {
    return text(key, _XPLATSTR("alg")).value_or("RS256") == "RS256";
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

std::vector<Check> checkConfiguration(const Json& configuration, const Asked& asked) {
    ConfigurationChecks checks(configuration, asked);
    checks.issuer();
    checks.endpoint(Use::any, _XPLATSTR("authorization_endpoint"));
    checks.endpoint(Use::any, _XPLATSTR("token_endpoint"));
    checks.tokenQuery();
    checks.endpoint(Use::login, _XPLATSTR("jwks_uri"));
    checks.encryption();
    checks.hosts();
    checks.scopes();

    const utility::string_t grants = _XPLATSTR("grant_types_supported");
    const utility::string_t authentication = _XPLATSTR("token_endpoint_auth_methods_supported");
    checks.list(Use::login, required, _XPLATSTR("response_types_supported"), {"code id_token"},
                "Enable the hybrid flow at the provider, or the implicit flow in addition to the "
                "code flow. A provider without the hybrid flow cannot be used.");
    checks.list(Use::login, required, _XPLATSTR("response_modes_supported"), {"form_post"},
                "Enable form_post at the provider. A provider without it cannot be used.");
    checks.list(Use::login, required, grants, {"authorization_code", "refresh_token"},
                "Enable these grants at the provider.");
    checks.list(Use::login, required, _XPLATSTR("id_token_signing_alg_values_supported"), {"RS256"},
                "Give the provider an RSA key, and have it sign ID tokens with RS256.");
    checks.list(Use::login, advised, _XPLATSTR("code_challenge_methods_supported"), {"S256"},
                "Enable PKCE at the provider. PKCE is always used, but protects the sign-in only "
                "if the provider checks it.");
    checks.list(Use::login, advised, authentication, {"none"},
                "Register a public (native) client: it redeems codes without a secret.");
    checks.plainRequests();
    checks.list(Use::serviceToken, required, grants, {"client_credentials"},
                "Enable this grant at the provider; some call it service accounts.");
    checks.list(Use::serviceToken, advised, authentication, {"client_secret_post"},
                "Register the client so that it sends its secret in the request body.");
    return checks.take();
}

std::optional<std::string> signingKeysUrl(const Json& configuration) {
    const auto url = text(configuration, _XPLATSTR("jwks_uri"));
    return url && isHttp(*url) ? url : std::nullopt;
}

std::vector<Check> checkSigningKeys(const Json& keySet) {
    const auto check = [](Result result, const char* needs, const std::string& found,
                          const char* remedy) {
        return Check{Use::login, result, "signing keys",
                     needs,      found,  result == Result::ok ? "" : remedy};
    };
    if (!keySet.has_array_field(_XPLATSTR("keys"))) {
        return {
            check(Result::missing, "a list of keys", "nothing",
                  "This is not a key set: compare jwks_uri with the provider's documentation.")};
    }
    const web::json::array& keys = keySet.at(_XPLATSTR("keys")).as_array();
    const auto count = [&keys](const auto& has) {
        return static_cast<std::size_t>(std::count_if(keys.begin(), keys.end(), has));
    };
    const auto readable = count(isReadable);
    const auto usable = count(isUsable);
    const auto named = count([](const Json& key) { return isUsable(key) && isNamed(key); });
    const auto fitting = count([](const Json& key) { return isUsable(key) && isForRs256(key); });
    const auto of = [](std::size_t some, std::size_t all, const char* have) {
        return fmt::format("{} of {} {}", some, all, have);
    };
    const char* const copyKeys =
        "No setting is known to help. An amended copy of the keys, named by an amended copy of the "
        "configuration, works until the provider changes its keys.";
    return {
        check(required(readable == keys.size()), "kty and use in all",
              of(readable, keys.size(), "have kty and use"), copyKeys),
        check(required(usable > 0), "one with kty RSA, use sig, n and e",
              of(usable, keys.size(), "can be used"), "Give the provider an RSA key to sign with."),
        check(required(named == usable), "kid in each of those", of(named, usable, "have a kid"),
              copyKeys),
        check(advised(fitting > 0 || usable == 0), "one of those with alg RS256, or without",
              of(fitting, usable, "are for RS256"),
              "Have the provider sign with RS256: tokens signed otherwise are refused.")};
}

}  // namespace tool
