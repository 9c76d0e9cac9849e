#pragma once

#include "auth/COIDCToken.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace tool {

enum class TokenKind : std::uint8_t { access, id };

// These describe the token of one kind in a provider's answer.

std::string textOf(const auth::COIDCToken& token, TokenKind kind);
/// An ID token has its own expiry, before or after the access token's. Empty if it is unknown.
std::optional<auth::COIDCToken::TimePoint> expiryOf(const auth::COIDCToken& token, TokenKind kind);

/// Whether it can be sent as a bearer token (RFC 6750, section 2.1). With a line end in it, for
/// example, the token could add headers to the requests of a program that uses it.
bool isBearerToken(const std::string& token);

/// The environment variable for the token, unless another one is given.
const char* variableOf(TokenKind kind);

/// The output formats of a token.
enum class OutputFormat : std::uint8_t {
    token,           ///< the bare token
    json,            ///< an object with the token, its expiry and its scopes
    header,          ///< a request header (RFC 6750, section 2.1)
    environment,     ///< variables for a shell, or for a file of variables
    execCredential,  ///< the object that kubectl expects from a credential plugin
};

/// The options that choose a format.
struct OutputOptions {
    std::string format;  // empty: not given

    void addTo(CLI::App& command);
    /// `json` is the flag that stands for one of the formats. Throws UsageError if both are given
    /// and differ.
    OutputFormat chosen(bool json) const;
};

/// Formats tokens for output.
class TokenOutput {
public:
    /// Throws UsageError if the environment requests something unsupported.
    TokenOutput(TokenKind kind, OutputFormat format);

    /// Without the last line end. Throws std::runtime_error if the text is not a bearer token.
    std::string text(const auth::COIDCToken& token) const;
    /// The same with a line end, except for the bare token: programs that read it from a file may
    /// not expect one.
    std::string fileText(const auth::COIDCToken& token) const;

private:
    const TokenKind m_kind;
    const OutputFormat m_format;
    const std::string m_credentialVersion;
};

}  // namespace tool
