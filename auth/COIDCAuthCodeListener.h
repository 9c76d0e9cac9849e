#pragma once

#include "auth/detail/Error.h"
#include "auth/detail/FirstOutcome.h"
#include "host/CString.h"
#include "platform/RedirectServer.h"
#include "platform/Tasks.h"

#include <cpprest/details/basic_types.h>

#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace auth {

/// Receives the answer of one sign-in: the form that the user's browser posts to the redirect URL
/// (OAuth 2.0 Form Post Response Mode). The first request decides, whatever it is; the others get
/// their page, too.
class COIDCAuthCodeListener final : private platform::RedirectHandler {
public:
    /// What the provider sends with the user's browser, exactly as it stood in the form: nothing is
    /// decoded.
    struct OIDCAuthCode {
        utility::string_t code;
        utility::string_t idToken;
        utility::string_t state;
    };

    /// A form in which a field is missing, with what the provider says in place of it.
    struct RefusedForm : OIDCError {
        RefusedForm(const OIDCError& error, utility::string_t postedState)
            : OIDCError(error), state(std::move(postedState)) {}
        utility::string_t state;  ///< as in OIDCAuthCode
    };

    /// Listens from now on. Throws std::exception where that cannot be: the URL is not one to
    /// listen on, its port is taken ...
    explicit COIDCAuthCodeListener(const CString& redirectUrl);
    /// Frees the port at once, whoever is connected.
    ~COIDCAuthCodeListener() override;
    COIDCAuthCodeListener(const COIDCAuthCodeListener&) = delete;
    COIDCAuthCodeListener& operator=(const COIDCAuthCodeListener&) = delete;

    /// Ends with what was received, with a std::exception for a request that was rejected or when
    /// the time is over, both noticed every half second, or with task_canceled at once when the
    /// token is cancelled. Nobody need read the outcome.
    ///
    /// The task may outlive the listener. Without an outcome until then, it ends as for a rejected
    /// request.
    Concurrency::task<OIDCAuthCode> getAuthCodeAsync(
        unsigned timeoutSeconds, const Concurrency::cancellation_token& token) const;

    /// Throws RefusedForm for a field that is missing. Of a field that comes twice the last one
    /// counts.
    static OIDCAuthCode parseAuthCodeResponse(const utility::string_t& body);
    /// An HTML page with this text, which is not escaped.
    static utility::string_t makeMessagePage(const utility::string_t& message);

private:
    std::optional<platform::RedirectAnswer> judgeHead(const std::string& method,
                                                      const std::string& target) override;
    platform::RedirectAnswer answer(const platform::RedirectRequest& request) override {
        return handleListenerRequest(request);
    }
    platform::RedirectAnswer answerLostBody(const std::string& reason) override;
    platform::RedirectAnswer answerNoRequest() override;

    platform::RedirectAnswer handleListenerRequest(const platform::RedirectRequest& request);
    platform::RedirectAnswer reject(unsigned status, const utility::char_t* message,
                                    const std::exception_ptr& reason) const;
    platform::RedirectAnswer rejectBody(const std::exception_ptr& reason) const;

    const std::string m_path;
    const std::unique_ptr<detail::FirstOutcome<OIDCAuthCode>> m_received;
    const platform::RedirectServer m_server;  // last: it calls the rest
};

}  // namespace auth
