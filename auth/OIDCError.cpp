#include "auth/OIDCError.h"

#include "auth/COIDCHelper.h"
#include "auth/IStoreFailure.h"
#include "auth/detail/Arguments.h"
#include "platform/Tasks.h"

#include <cpprest/http_msg.h>
#include <cpprest/json.h>
#include <jwt-cpp/jwt.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <system_error>
#include <typeinfo>
#include <utility>

namespace auth {

namespace {

using Kind = OIDCError::Kind;

bool mayPass(Kind kind, const OIDCError::Details& details) {
    if (kind != Kind::providerRefused) {
        return kind == Kind::notReached;
    }
    const unsigned status = details.status.value_or(0);
    return status >= web::http::status_codes::InternalError ||
           status == web::http::status_codes::TooManyRequests ||
           details.providerError == "temporarily_unavailable" ||
           details.providerError == "server_error";
}

Kind kindOf(const web::http::http_exception& failure) {
    constexpr std::array shortages{std::errc::too_many_files_open,
                                   std::errc::too_many_files_open_in_system,
                                   std::errc::not_enough_memory, std::errc::no_buffer_space};
    const std::error_code& code = failure.error_code();
    // The HTTP library sets a system error code if the exchange failed, and none if it understood
    // the answer but refuses it.
    if (!code) {
        return Kind::wrongAnswer;
    }
    const bool isOfThisMachine =
        std::find(shortages.begin(), shortages.end(), code) != shortages.end();
    return isOfThisMachine ? Kind::other : Kind::notReached;
}

Kind kindOf(const std::system_error& failure) {
    const std::error_category& category = failure.code().category();
    const bool isOfToken = category == jwt::error::signature_verification_error_category() ||
                           category == jwt::error::token_verification_error_category() ||
                           category == jwt::error::rsa_error_category();
    return isOfToken ? Kind::tokenRefused : Kind::other;
}

template <class... Types>
bool isAny(const std::exception& failure) {
    return ((dynamic_cast<const Types*>(&failure) != nullptr) || ...);
}

/// The JWT library has no type of its own for text that is not base64url.
bool isOfBase64(const std::exception& failure) {
    const std::string_view beginning = "Invalid input";
    return typeid(failure) == typeid(std::runtime_error) &&
           std::string_view(failure.what()).substr(0, beginning.size()) == beginning;
}

/// For exceptions that are not ours.
Kind kindOf(const std::exception& failure) {
    if (isAny<Concurrency::task_canceled>(failure)) {
        return Kind::cancelled;
    }
    if (isAny<IStoreFailure>(failure)) {
        return Kind::store;
    }
    if (isAny<detail::RefusedArgument>(failure)) {
        return Kind::other;
    }
    if (const auto* const http = dynamic_cast<const web::http::http_exception*>(&failure)) {
        return kindOf(*http);
    }
    if (const auto* const system = dynamic_cast<const std::system_error*>(&failure)) {
        return kindOf(*system);
    }
    const bool isOfAnAnswer =
        isAny<web::json::json_exception, web::uri_exception, jwt::error::invalid_json_exception,
              std::logic_error, std::range_error, std::overflow_error, std::bad_cast>(failure) ||
        isOfBase64(failure);
    return isOfAnAnswer ? Kind::wrongAnswer : Kind::other;
}

}  // namespace

struct OIDCError::Data {
    Kind kind;
    Details details;
    bool canRetry;
};

RequiresUserAuthException::RequiresUserAuthException(std::string text) : m_text(std::move(text)) {}

const char* RequiresUserAuthException::what() const noexcept {
    return m_text.c_str();
}

OIDCError::OIDCError(Kind kind, const std::string& text) : OIDCError(kind, text, Details()) {}

OIDCError::OIDCError(Kind kind, const std::string& text, Details details)
    : std::runtime_error(text) {
    const bool canRetry = mayPass(kind, details);
    m_data = std::make_shared<const Data>(Data{kind, std::move(details), canRetry});
}

OIDCError::OIDCError(const std::string& text, std::shared_ptr<const Data> data)
    : std::runtime_error(text), m_data(std::move(data)) {}

OIDCError::~OIDCError() = default;

OIDCError OIDCError::of(const std::exception_ptr& failure) {
    try {
        if (failure) {
            std::rethrow_exception(failure);
        }
    } catch (const OIDCError& error) {
        return error;
    } catch (const RequiresUserAuthException& error) {
        // The nested exception says why the user is needed.
        const auto* const nested = dynamic_cast<const std::nested_exception*>(&error);
        const OIDCError reason = of(nested != nullptr ? nested->nested_ptr() : nullptr);
        return {error.what(), std::make_shared<const Data>(Data{
                                  Kind::signInNeeded, reason.m_data->details, reason.canRetry()})};
    } catch (const std::exception& error) {
        return {kindOf(error), error.what()};
    } catch (...) {  // NOLINT(bugprone-empty-catch)
    }
    return {Kind::other, "unknown failure"};
}

OIDCError::Kind OIDCError::kind() const noexcept {
    return m_data->kind;
}

bool OIDCError::canRetry() const noexcept {
    return m_data->canRetry;
}

std::optional<unsigned> OIDCError::status() const noexcept {
    return m_data->details.status;
}

const std::string& OIDCError::providerError() const noexcept {
    return m_data->details.providerError;
}

const std::string& OIDCError::providerErrorDescription() const noexcept {
    return m_data->details.providerErrorDescription;
}

const std::vector<std::string>& OIDCError::claims() const noexcept {
    return m_data->details.claims;
}

const std::string& OIDCError::missedClaim() const noexcept {
    return m_data->details.missedClaim;
}

}  // namespace auth
