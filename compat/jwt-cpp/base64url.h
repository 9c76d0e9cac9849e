#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace jwt::alphabet {

/// RFC 4648, section 5. Its padding is percent-encoded, since the text is meant for URLs.
struct base64url {
    static constexpr std::string_view symbols =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    static constexpr std::string_view fill = "%3d";
};

}  // namespace jwt::alphabet

namespace jwt::base {

/// Appends padding until the length, in characters, is a multiple of four.
template <typename Alphabet>
std::string pad(const std::string& text) {
    std::string padded = text;
    for (std::size_t size = text.size(); size % 4 != 0; ++size) {
        padded += Alphabet::fill;
    }
    return padded;
}

/// Cuts the text at its first padding.
template <typename Alphabet>
std::string trim(const std::string& text) {
    return text.substr(0, text.find(Alphabet::fill));
}

template <typename Alphabet>
std::string encode(const std::string& bytes) {
    std::string text;
    const auto put = [&text](std::uint32_t sextet) { text += Alphabet::symbols[sextet & 0x3FU]; };
    std::uint32_t bits = 0;
    int pending = 0;
    for (const char byte : bytes) {
        bits = bits << 8U | static_cast<unsigned char>(byte);
        for (pending += 8; pending >= 6; pending -= 6) {
            put(bits >> (pending - 6));
        }
    }
    if (pending != 0) {
        put(bits << (6 - pending));
        for (; pending < 6; pending += 2) {
            text += Alphabet::fill;
        }
    }
    return text;
}

/// Reads groups of four symbols, the last one padded; bits that do not fill a byte are ignored.
template <typename Alphabet>
std::string decode(const std::string& text) {
    constexpr std::string_view fill = Alphabet::fill;
    std::string_view symbols = text;
    std::size_t fills = 0;
    for (; symbols.size() >= fill.size() && symbols.substr(symbols.size() - fill.size()) == fill;
         ++fills) {
        symbols.remove_suffix(fill.size());
    }
    if (fills > 2) {
        throw std::runtime_error("Invalid input: too much fill");
    }
    if ((symbols.size() + fills) % 4 != 0) {
        throw std::runtime_error("Invalid input: incorrect total size");
    }
    std::string bytes;
    std::uint32_t bits = 0;
    int pending = 0;
    for (const char symbol : symbols) {
        const std::size_t value = Alphabet::symbols.find(symbol);
        if (value == std::string_view::npos) {
            throw std::runtime_error("Invalid input: not within alphabet");
        }
        bits = bits << 6U | static_cast<std::uint32_t>(value);
        pending += 6;
        if (pending >= 8) {
            pending -= 8;
            bytes += static_cast<char>(static_cast<unsigned char>(bits >> pending & 0xFFU));
        }
    }
    return bytes;
}

namespace detail {

/// Base64url as in RFC 7515, which is without padding.
inline std::string decode_unpadded(const std::string& text) {
    return decode<alphabet::base64url>(pad<alphabet::base64url>(text));
}

}  // namespace detail

}  // namespace jwt::base
