#include "tool/TokenOutput.h"

#include "tool/ExecCredential.h"
#include "tool/ExitCode.h"
#include "tool/Output.h"
#include "tool/TokenClaims.h"

#include <cpprest/json.h>

#include <map>
#include <stdexcept>

namespace tool {

namespace {

const std::map<std::string, OutputFormat>& formats() {
    static const std::map<std::string, OutputFormat> byName{
        {"token", OutputFormat::token},
        {"json", OutputFormat::json},
        {"header", OutputFormat::header},
        {"env", OutputFormat::environment},
        {"exec-credential", OutputFormat::execCredential},
    };
    return byName;
}

web::json::value timeOrNull(const std::optional<auth::COIDCToken::TimePoint>& time) {
    return time ? jsonText(timestamp(*time)) : web::json::value();
}

std::string jsonOf(const auth::COIDCToken& token, TokenKind kind) {
    auto object = web::json::value::object(true);
    object[kind == TokenKind::access ? _XPLATSTR("access_token") : _XPLATSTR("id_token")] =
        jsonText(textOf(token, kind));
    object[_XPLATSTR("expires_at")] = timeOrNull(expiryOf(token, kind));
    object[_XPLATSTR("scopes")] = jsonList(token.scopes());
    return textOf(object);
}

std::string variablesOf(const auth::COIDCToken& token, TokenKind kind) {
    const std::string text = textOf(token, kind);
    // A tilde at the start is the only character of a token that a shell would replace.
    const char* const quote = text.front() == '~' ? "'" : "";
    const auto expiry = expiryOf(token, kind);
    return std::string(variableOf(kind)) + '=' + quote + text + quote +
           (expiry ? "\nOIDCAUTH_EXPIRES_AT=" + timestamp(*expiry) : "");
}

}  // namespace

const char* variableOf(TokenKind kind) {
    return kind == TokenKind::access ? "OIDCAUTH_ACCESS_TOKEN" : "OIDCAUTH_ID_TOKEN";
}

std::string textOf(const auth::COIDCToken& token, TokenKind kind) {
    return (kind == TokenKind::access ? token.accessToken() : token.idToken()).toUtf8();
}

std::optional<auth::COIDCToken::TimePoint> expiryOf(const auth::COIDCToken& token, TokenKind kind) {
    return kind == TokenKind::access ? token.expiresAt()
                                     : timeClaim(claimsOf(token.idToken()), _XPLATSTR("exp"));
}

bool isBearerToken(const std::string& token) {
    const auto end = token.find_first_not_of(
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~+/");
    return end != 0 && !token.empty() &&
           (end == std::string::npos || token.find_first_not_of('=', end) == std::string::npos);
}

void OutputOptions::addTo(CLI::App& command) {
    command
        .add_option(
            "--output", format,
            "The output format: the bare token (token, the default), an object with the token, its "
            "expiry and requested scopes (json), a request header for curl -H @- (header), "
            "variables for a shell (env), or a credential for kubectl (exec-credential)")
        ->check(CLI::IsMember(formats()))
        ->type_name("FORMAT");
}

OutputFormat OutputOptions::chosen(bool json) const {
    const std::string standard = json ? "json" : "token";
    if (json && !format.empty() && format != standard) {
        throw UsageError("--json and --output ask for different formats; give only one of them");
    }
    return formats().at(format.empty() ? standard : format);
}

TokenOutput::TokenOutput(TokenKind kind, OutputFormat format)
    : m_kind(kind),
      m_format(format),
      m_credentialVersion(format == OutputFormat::execCredential ? execCredentialVersion() : "") {}

std::string TokenOutput::text(const auth::COIDCToken& token) const {
    std::string text = textOf(token, m_kind);
    if (!isBearerToken(text)) {
        throw std::runtime_error(
            "the token is empty, or has characters that are not allowed in a bearer token");
    }
    switch (m_format) {
        case OutputFormat::json:
            return jsonOf(token, m_kind);
        case OutputFormat::header:
            return "Authorization: Bearer " + text;
        case OutputFormat::environment:
            return variablesOf(token, m_kind);
        case OutputFormat::execCredential:
            return textOf(execCredential(m_credentialVersion, text, expiryOf(token, m_kind)));
        default:
            return text;
    }
}

std::string TokenOutput::fileText(const auth::COIDCToken& token) const {
    return text(token) + (m_format == OutputFormat::token ? "" : "\n");
}

}  // namespace tool
