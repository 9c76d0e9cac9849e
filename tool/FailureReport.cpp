#include "tool/FailureReport.h"

#include "auth/OIDCError.h"
#include "tool/Output.h"

#include <string>
#include <vector>

namespace tool {

namespace {

using auth::OIDCError;
using web::json::value;

/// Names that scripts may rely on.
const char* nameOf(const OIDCError& failure, ExitCode code) {
    switch (code) {
        case ExitCode::Usage:
            return "usage";
        case ExitCode::TokenStore:
            return "store";
        case ExitCode::Interrupted:
            return "cancelled";
        default:
            break;
    }
    switch (failure.kind()) {
        case OIDCError::Kind::providerRefused:
            return "provider_refused";
        case OIDCError::Kind::userDeclined:
            return "user_declined";
        case OIDCError::Kind::wrongAnswer:
            return "wrong_answer";
        case OIDCError::Kind::tokenRefused:
            return "token_refused";
        case OIDCError::Kind::notReached:
            return "not_reached";
        case OIDCError::Kind::nobodySignedIn:
            return "nobody_signed_in";
        case OIDCError::Kind::signInNeeded:
            return "sign_in_needed";
        case OIDCError::Kind::cannotListen:
            return "cannot_listen";
        case OIDCError::Kind::store:
            return "store";
        case OIDCError::Kind::cancelled:
            return "cancelled";
        case OIDCError::Kind::other:
            break;
    }
    return code == ExitCode::ProviderRefused ? "wrong_answer" : "other";
}

}  // namespace

value reportOf(const std::exception_ptr& failure, const Outcome& outcome) {
    const OIDCError error = OIDCError::of(failure);
    auto report = value::object(true);
    report[_XPLATSTR("error")] = jsonText(outcome.message);
    report[_XPLATSTR("exit_code")] = value::number(static_cast<int>(outcome.code));
    report[_XPLATSTR("kind")] = jsonText(nameOf(error, outcome.code));
    report[_XPLATSTR("can_retry")] = value::boolean(error.canRetry());
    const auto addText = [&report](const utility::string_t& name, const std::string& text) {
        if (!text.empty()) {
            report[name] = jsonText(text);
        }
    };
    if (error.status()) {
        report[_XPLATSTR("status")] = value::number(*error.status());
    }
    addText(_XPLATSTR("provider_error"), error.providerError());
    addText(_XPLATSTR("provider_error_description"), error.providerErrorDescription());
    addText(_XPLATSTR("missed_claim"), error.missedClaim());
    if (!error.claims().empty()) {
        std::vector<value> claims;
        for (const std::string& claim : error.claims()) {
            claims.push_back(jsonText(claim));
        }
        report[_XPLATSTR("claims")] = value::array(claims);
    }
    return report;
}

}  // namespace tool
