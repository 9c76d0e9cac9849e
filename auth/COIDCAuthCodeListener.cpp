#include "auth/COIDCAuthCodeListener.h"

#include "auth/detail/Clock.h"
#include "auth/detail/FirstOutcome.h"
#include "auth/detail/ProviderWords.h"
#include "auth/detail/Text.h"
#include "auth/detail/Waiting.h"
#include "platform/TaskScheduler.h"
#include "platform/Timer.h"

#include <boost/algorithm/string/predicate.hpp>
#include <cpprest/asyncrt_utils.h>
#include <cpprest/base_uri.h>
#include <cpprest/http_msg.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <exception>
#include <map>
#include <stdexcept>
#include <utility>

namespace auth {

using detail::Kind;
using platform::RedirectAnswer;
using web::http::status_codes;

namespace {

constexpr std::chrono::milliseconds tickPeriod{500};
constexpr auto* htmlType = "text/html";

// The doubled quotation marks in the style are deliberate: the page must have exactly this text.
constexpr auto* closingPage =
    "<!doctype html>"
    "<html>"
    "<head>"
    "<script>"
    "window.onload = function load()"
    "{"
    "window.open('', '_self', '');"
    "window.close();"
    "};"
    "</script>"
    "</head>"
    "<body>"
    R"(<div style=""font-family:sans-serif;"">You can close this page now.</div>)"
    "</body>"
    "</html>";

/// The path in a request's target or in a redirect URL, if that is a path or an http URL with a
/// host. It is neither decoded nor normalised.
std::optional<std::string> pathOf(const std::string& target) {
    const std::string scheme = "http://";
    std::size_t start = 0;
    if (boost::algorithm::istarts_with(target, scheme)) {
        start = std::min(target.find_first_of("/?#", scheme.size()), target.size());
        if (start == scheme.size()) {
            return std::nullopt;
        }
    }
    const std::string path = target.substr(start, target.find_first_of("?#", start) - start);
    if (path.empty() && start > 0) {
        return "/";
    }
    return path.compare(0, 1, "/") == 0 ? std::optional(path) : std::nullopt;
}

/// The HTTP library interprets content type and character set. We cannot use its public operation:
/// it waits until the body has been received, which never happens for a message that we made
/// ourselves.
utility::string_t textOf(const platform::RedirectRequest& request) {
    web::http::http_request message;
    message.set_body(request.body, request.contentType);
    return message._get_impl()->extract_string();
}

std::exception_ptr wrongRequest(const std::string& text) {
    return std::make_exception_ptr(OIDCError(Kind::wrongAnswer, text));
}

using Fields = std::map<utility::string_t, utility::string_t>;

COIDCAuthCodeListener::RefusedForm refusedForm(const Fields& fields, const char* text) {
    const detail::ProviderWords words = detail::wordsOfForm(fields);
    const Kind kind = words.error == "access_denied" ? Kind::userDeclined
                      : words.error.empty()          ? Kind::wrongAnswer
                                                     : Kind::providerRefused;
    const auto state = fields.find(_XPLATSTR("state"));
    return {detail::withWords({kind, text}, words),
            state == fields.end() ? utility::string_t() : state->second};
}

}  // namespace

COIDCAuthCodeListener::COIDCAuthCodeListener(const CString& redirectUrl) try
    : m_path(pathOf(utility::conversions::to_utf8string(detail::toHttpText(redirectUrl)))
                 .value_or("")),
      m_received(std::make_unique<detail::FirstOutcome<OIDCAuthCode>>()),
      m_server(detail::toHttpText(redirectUrl), *this) {
} catch (const std::range_error&) {  // the URL is not valid text
    throw;
} catch (const std::runtime_error& error) {
    throw OIDCError(Kind::cannotListen, error.what());
}

COIDCAuthCodeListener::~COIDCAuthCodeListener() = default;

std::optional<RedirectAnswer> COIDCAuthCodeListener::judgeHead(const std::string& method,
                                                               const std::string& target) {
    if (method != "POST") {
        return reject(status_codes::BadRequest, _XPLATSTR("Invalid request."),
                      wrongRequest("unexpexted listener request type"));
    }
    if (pathOf(target) != m_path) {
        return reject(status_codes::NotFound, _XPLATSTR("Not found."),
                      wrongRequest("unexpexted listener uri"));
    }
    return std::nullopt;
}

RedirectAnswer COIDCAuthCodeListener::handleListenerRequest(
    const platform::RedirectRequest& request) {
    try {
        return {status_codes::OK, htmlType, closingPage,
                [this, value = parseAuthCodeResponse(textOf(request))] { m_received->set(value); }};
    } catch (const RefusedForm& refused) {
        return rejectBody(std::make_exception_ptr(refused));
    } catch (const std::exception& error) {
        return answerLostBody(error.what());
    }
}

RedirectAnswer COIDCAuthCodeListener::answerLostBody(const std::string& reason) {
    return rejectBody(wrongRequest(reason));
}

RedirectAnswer COIDCAuthCodeListener::rejectBody(const std::exception_ptr& reason) const {
    return reject(status_codes::BadRequest,
                  _XPLATSTR("Invalid reqeust. Unable to extract auth code."), reason);
}

RedirectAnswer COIDCAuthCodeListener::answerNoRequest() {
    return {status_codes::BadRequest, htmlType,
            utility::conversions::to_utf8string(makeMessagePage(_XPLATSTR("Invalid request."))),
            nullptr};
}

RedirectAnswer COIDCAuthCodeListener::reject(unsigned status, const utility::char_t* message,
                                             const std::exception_ptr& reason) const {
    return {status, htmlType, utility::conversions::to_utf8string(makeMessagePage(message)),
            [this, reason] { m_received->fail(reason); }};
}

COIDCAuthCodeListener::OIDCAuthCode COIDCAuthCodeListener::parseAuthCodeResponse(
    const utility::string_t& body) {
    const Fields fields = web::uri::split_query(body);
    const auto field = [&fields](const utility::char_t* name, const char* missing) {
        const auto found = fields.find(name);
        if (found == fields.end()) {
            throw refusedForm(fields, missing);
        }
        return found->second;
    };
    return {field(_XPLATSTR("code"), "no code in auth code response"),
            field(_XPLATSTR("id_token"), "no id_token in auth code response"),
            field(_XPLATSTR("state"), "no state in auth code response")};
}

utility::string_t COIDCAuthCodeListener::makeMessagePage(const utility::string_t& message) {
    return _XPLATSTR("<!doctype html><html><body><div style=\"\"font-family:sans-serif;\"\">") +
           message + _XPLATSTR("</div></body></html>");
}

Concurrency::task<COIDCAuthCodeListener::OIDCAuthCode> COIDCAuthCodeListener::getAuthCodeAsync(
    unsigned timeoutSeconds, const Concurrency::cancellation_token& token) const {
    const auto outcome = std::make_shared<detail::FirstOutcome<OIDCAuthCode>>();
    // The checks are independent, and the first outcome counts: their order decides which one wins.
    const auto check = [outcome, token, received = m_received->task(), start = detail::steadyNow(),
                        limit = std::chrono::seconds(timeoutSeconds)] {
        if (detail::isInterrupted(token)) {
            outcome->fail(std::make_exception_ptr(Concurrency::task_canceled()));
        }
        if (detail::steadyNow() - start >= limit) {
            outcome->fail(std::make_exception_ptr(OIDCError(
                Kind::nobodySignedIn, "unable to get auth code within specified timeframe")));
        }
        if (received.is_done()) {
            try {
                outcome->set(received.get());
            } catch (const OIDCError&) {
                outcome->fail(std::current_exception());
            } catch (const std::exception& error) {  // the listener is gone
                outcome->fail(std::make_exception_ptr(OIDCError(Kind::other, error.what())));
            }
        }
    };
    auto timer = std::make_shared<platform::RepeatingTimer>(tickPeriod, check);
    auto interruption = std::make_shared<detail::Interruption>(token, check);
    return detail::observed(outcome->task().then(
        [timer, interruption](const Concurrency::task<OIDCAuthCode>& ended) mutable {
            timer.reset();
            interruption.reset();
            return ended.get();
        },
        platform::inlined()));
}

}  // namespace auth
