#pragma once

#include "auth/COIDCToken.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace tool {

enum class TokenKind : std::uint8_t { access, id };

// These tell of the token of one kind in what a provider issued.

std::string textOf(const auth::COIDCToken& token, TokenKind kind);
/// An ID token has an expiry of its own, which may come before or after the access token's. None
/// where it is not told.
std::optional<auth::COIDCToken::TimePoint> expiryOf(const auth::COIDCToken& token, TokenKind kind);

/// Whether it can be sent as a bearer token (RFC 6750, section 2.1): with a line end in it, for
/// one, who pastes it into a request would send headers that the provider chose.
bool isBearerToken(const std::string& token);

/// The environment variable that programs find the token in, unless they want another.
const char* variableOf(TokenKind kind);

/// For whom a token is made ready.
enum class OutputFormat : std::uint8_t {
    token,           ///< as it is
    json,            ///< an object of the token, its expiry and its scopes
    header,          ///< of a request (RFC 6750, section 2.1)
    environment,     ///< variables, for a shell or a file of them
    execCredential,  ///< what kubectl expects of a program that gets its credentials
};

/// The options that choose a format.
struct OutputOptions {
    std::string format;  // empty: not given

    void addTo(CLI::App& command);
    /// `json` is a flag that stands for one of the formats. Throws UsageError where both are given
    /// and differ.
    OutputFormat chosen(bool json) const;
};

/// How tokens are given out.
class TokenOutput {
public:
    /// Throws UsageError where the environment asks for what cannot be done.
    TokenOutput(TokenKind kind, OutputFormat format);

    /// Without the last line end. Throws std::runtime_error for what is no bearer token.
    std::string text(const auth::COIDCToken& token) const;
    /// The same with a line end, but for the bare token: who reads it from a file may not expect
    /// one.
    std::string fileText(const auth::COIDCToken& token) const;

private:
    const TokenKind m_kind;
    const OutputFormat m_format;
    const std::string m_credentialVersion;
};

}  // namespace tool
