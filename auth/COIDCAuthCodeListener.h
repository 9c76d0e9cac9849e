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
/// (OAuth 2.0 Form Post Response Mode). The first request decides, whatever it is; later ones also
/// get a page.
class COIDCAuthCodeListener final : private platform::RedirectHandler {
public:
    /// The provider's answer, exactly as the form had it: nothing is decoded.
    struct OIDCAuthCode {
        utility::string_t code;
        utility::string_t idToken;
        utility::string_t state;
    };

    /// A form that lacks a field, with the error that the provider sent instead.
    struct RefusedForm : OIDCError {
        RefusedForm(const OIDCError& error, utility::string_t postedState)
            : OIDCError(error), state(std::move(postedState)) {}
        utility::string_t state;  ///< as in OIDCAuthCode
    };

    /// Starts to listen. Throws std::exception if that is impossible, for example because the port
    /// is taken or the URL is not suitable.
    explicit COIDCAuthCodeListener(const CString& redirectUrl);
    /// Frees the port at once, even while clients are connected.
    ~COIDCAuthCodeListener() override;
    COIDCAuthCodeListener(const COIDCAuthCodeListener&) = delete;
    COIDCAuthCodeListener& operator=(const COIDCAuthCodeListener&) = delete;

    /// Ends with the answer; with a std::exception if a request was rejected or the time is over;
    /// or with task_canceled. The answer, a rejection and the end of the time are noticed within
    /// half a second, cancellation at once. The outcome may be left unread.
    ///
    /// The task may outlive the listener. If it has no outcome by then, it ends with a
    /// std::exception.
    Concurrency::task<OIDCAuthCode> getAuthCodeAsync(
        unsigned timeoutSeconds, const Concurrency::cancellation_token& token) const;

    /// Throws RefusedForm if a field is missing. If a field occurs twice, the last one counts.
    static OIDCAuthCode parseAuthCodeResponse(const utility::string_t& body);
    /// An HTML page that contains this text. The text is not escaped.
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
