#pragma once

#include "jwt-cpp/base64url.h"
#include "jwt-cpp/error.h"

#if defined(picojson_h) && !defined(PICOJSON_USE_INT64)
#error "picojson.h was included without PICOJSON_USE_INT64: include jwt-cpp/jwt.h first"
#endif
#ifndef PICOJSON_USE_INT64
#define PICOJSON_USE_INT64
#endif
#include <picojson.h>

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <set>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>

namespace jwt {

using date = std::chrono::system_clock::time_point;

struct default_clock {
    date now() const { return std::chrono::system_clock::now(); }
};

namespace traits {

/// Names the JSON library for the claims; this header supports no other one.
struct kazuho_picojson {};

}  // namespace traits

namespace json {

enum class type { boolean, integer, number, string, array, object };

}  // namespace json

namespace detail {

/// The date this long after the epoch, or the clock's first or last one if it is beyond those.
inline date date_of(std::chrono::seconds since_epoch) {
    using std::chrono::duration_cast;
    using std::chrono::seconds;
    if (since_epoch > duration_cast<seconds>(date::max().time_since_epoch())) {
        return date::max();
    }
    if (since_epoch < duration_cast<seconds>(date::min().time_since_epoch())) {
        return date::min();
    }
    return date(since_epoch);
}

/// Moves a date, at most to the clock's first or last one.
inline date shifted(date from, std::chrono::seconds by) {
    const date::duration distance = date_of(by).time_since_epoch();
    if (distance > date::duration::zero() && from > date::max() - distance) {
        return date::max();
    }
    if (distance < date::duration::zero() && from < date::min() - distance) {
        return date::min();
    }
    return from + distance;
}

/// The nearest second; halves are rounded away from zero.
inline std::chrono::seconds rounded(double seconds) {
    using limits = std::numeric_limits<std::chrono::seconds::rep>;
    constexpr double beyond = 0x1p63;  // not all limits can be represented as doubles
    const double whole = std::round(seconds);
    if (whole >= beyond) {
        return std::chrono::seconds(limits::max());
    }
    if (whole < -beyond) {
        return std::chrono::seconds(limits::min());
    }
    return std::chrono::seconds(static_cast<std::chrono::seconds::rep>(whole));
}

}  // namespace detail

/// A JSON value of a token.
class claim {
public:
    explicit claim(picojson::value value) : m_value(std::move(value)) {}

    json::type get_type() const {
        if (m_value.is<bool>()) {
            return json::type::boolean;
        }
        if (m_value.is<std::int64_t>()) {
            return json::type::integer;
        }
        if (m_value.is<double>()) {
            return json::type::number;
        }
        if (m_value.is<std::string>()) {
            return json::type::string;
        }
        if (m_value.is<picojson::array>()) {
            return json::type::array;
        }
        if (m_value.is<picojson::object>()) {
            return json::type::object;
        }
        throw std::logic_error("invalid type");  // a null has no type
    }

    std::string as_string() const { return as<std::string>(m_value); }
    std::int64_t as_integer() const { return as<std::int64_t>(m_value); }

    std::set<std::string> as_set() const {
        std::set<std::string> texts;
        for (const picojson::value& element : as<picojson::array>(m_value)) {
            texts.insert(as<std::string>(element));
        }
        return texts;
    }

    date as_date() const {
        // get<double> would permanently turn an integer into a double, so it is not called for
        // integers.
        return detail::date_of(get_type() == json::type::number
                                   ? detail::rounded(as<double>(m_value))
                                   : std::chrono::seconds(as_integer()));
    }

private:
    template <typename Type>
    static const Type& as(const picojson::value& value) {
        if (!value.is<Type>()) {
            throw std::bad_cast();
        }
        return value.get<Type>();
    }

    picojson::value m_value;
};

namespace detail {

/// Counts the nesting of objects as well as arrays: parsing recurses, and a token may come from
/// anyone.
class limited_parse_context : public picojson::default_parse_context {
public:
    using default_parse_context::default_parse_context;

    bool parse_object_start() {
        if (!default_parse_context::parse_object_start()) {
            return false;
        }
        --depths_;
        return true;
    }

    template <typename Input>
    bool parse_array_item(Input& input, std::size_t /*index*/) {
        return parse_into(out_->get<picojson::array>().emplace_back(), input);
    }

    template <typename Input>
    bool parse_object_item(Input& input, const std::string& name) {
        return parse_into(out_->get<picojson::object>()[name], input);
    }

private:
    template <typename Input>
    bool parse_into(picojson::value& value, Input& input) {
        limited_parse_context context(&value, depths_);
        return picojson::_parse(context, input);
    }
};

/// A token's base64url text, and its decoded bytes.
struct part {
    explicit part(std::string text)
        : base64(std::move(text)), bytes(base::detail::decode_unpadded(base64)) {}

    std::string base64;
    std::string bytes;
};

struct parts {
    part header;
    part payload;
    part signature;
};

/// Splits a token at its first two dots.
inline parts split(const std::string& token) {
    const std::size_t first = token.find('.');
    const std::size_t second = first == std::string::npos ? first : token.find('.', first + 1);
    if (second == std::string::npos) {
        throw std::invalid_argument("invalid token supplied");
    }
    return {part(token.substr(0, first)), part(token.substr(first + 1, second - first - 1)),
            part(token.substr(second + 1))};
}

/// The members of a JSON object. Text after it is ignored; if a name occurs twice, the last value
/// counts.
class claims {
public:
    explicit claims(const std::string& text) {
        picojson::value value;
        limited_parse_context context(&value);
        std::string complaint;
        picojson::_parse(context, text.begin(), text.end(), &complaint);
        if (!complaint.empty()) {
            throw error::invalid_json_exception();
        }
        if (!value.is<picojson::object>()) {
            throw std::bad_cast();
        }
        m_members = std::move(value.get<picojson::object>());
    }

    bool has(const std::string& name) const noexcept { return m_members.count(name) != 0; }

    claim get(const std::string& name) const {
        const auto member = m_members.find(name);
        if (member == m_members.end()) {
            throw error::claim_not_present_exception();
        }
        return claim(member->second);
    }

    const picojson::object& all() const noexcept { return m_members; }

private:
    picojson::object m_members;
};

}  // namespace detail

template <typename Traits>
class decoded_jwt;

/// A decoded token; nothing in it has been verified.
template <>
class decoded_jwt<traits::kazuho_picojson> {
public:
    explicit decoded_jwt(const std::string& token)
        : m_token(token),
          m_parts(detail::split(token)),
          m_header(m_parts.header.bytes),
          m_payload(m_parts.payload.bytes) {}

    const std::string& get_token() const noexcept { return m_token; }
    const std::string& get_header() const noexcept { return m_parts.header.bytes; }
    const std::string& get_payload() const noexcept { return m_parts.payload.bytes; }
    const std::string& get_signature() const noexcept { return m_parts.signature.bytes; }
    const std::string& get_header_base64() const noexcept { return m_parts.header.base64; }
    const std::string& get_payload_base64() const noexcept { return m_parts.payload.base64; }
    const std::string& get_signature_base64() const noexcept { return m_parts.signature.base64; }

    bool has_header_claim(const std::string& name) const noexcept { return m_header.has(name); }
    claim get_header_claim(const std::string& name) const { return m_header.get(name); }
    bool has_payload_claim(const std::string& name) const noexcept { return m_payload.has(name); }
    claim get_payload_claim(const std::string& name) const { return m_payload.get(name); }
    picojson::object get_payload_json() const { return m_payload.all(); }

    bool has_algorithm() const noexcept { return has_header_claim("alg"); }
    bool has_key_id() const noexcept { return has_header_claim("kid"); }
    bool has_issuer() const noexcept { return has_payload_claim("iss"); }
    bool has_audience() const noexcept { return has_payload_claim("aud"); }
    bool has_expires_at() const noexcept { return has_payload_claim("exp"); }
    bool has_not_before() const noexcept { return has_payload_claim("nbf"); }
    bool has_issued_at() const noexcept { return has_payload_claim("iat"); }

    std::string get_algorithm() const { return get_header_claim("alg").as_string(); }
    std::string get_key_id() const { return get_header_claim("kid").as_string(); }
    std::string get_issuer() const { return get_payload_claim("iss").as_string(); }
    date get_expires_at() const { return get_payload_claim("exp").as_date(); }
    date get_not_before() const { return get_payload_claim("nbf").as_date(); }
    date get_issued_at() const { return get_payload_claim("iat").as_date(); }

    /// RFC 7519, section 4.1.3: a single audience need not be in an array.
    std::set<std::string> get_audience() const {
        const claim audience = get_payload_claim("aud");
        if (audience.get_type() == json::type::string) {
            return {audience.as_string()};
        }
        return audience.as_set();
    }

private:
    std::string m_token;
    detail::parts m_parts;
    detail::claims m_header;
    detail::claims m_payload;
};

inline decoded_jwt<traits::kazuho_picojson> decode(const std::string& token) {
    return decoded_jwt<traits::kazuho_picojson>(token);
}

}  // namespace jwt
