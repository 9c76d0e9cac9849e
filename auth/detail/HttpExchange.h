#pragma once

#include "auth/detail/Log.h"
#include "platform/ConnectionGuard.h"
#include "platform/Tasks.h"

#include <cpprest/http_client.h>

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace auth::detail {

/// What is sent. Without a body it is a GET, else a POST, which goes out once at most: that the
/// peer acts on it twice would do harm, as with a code that is redeemed.
struct HttpRequest {
    web::uri target;  ///< its fragment is not sent
    web::http::http_headers headers;
    std::string body;  ///< UTF-8
    /// An answer with a larger body fails. Configurations and key sets are a few kilobytes.
    utility::size64_t largestAnswer = utility::size64_t{512} * 1024;
    /// The body of an answer that is refused by its head is read for what the provider says.
    bool hearsRefusal = false;
};

/// Makes every HTTP exchange of one protocol object, and keeps one client per origin for it: a
/// client made anew costs a connection, and under TLS the loading of the authorities.
///
/// No redirect is followed. The host's time-out bounds the whole exchange, from the connection to
/// the last byte of the answer, however slowly the peer sends; a host that gives none, or more than
/// a day, gets a day. An answer above its limit fails, and so does an endless head, but for the
/// connections that platform::ConnectionGuard cannot have. A kept connection that the peer closed
/// before the request is no failure.
class HttpExchange {
public:
    using CheckHead = std::function<void(const web::http::http_response&)>;

    /// Sends the request and gives the answer when its body is there. `checkHead` sees the answer
    /// before the body is waited for, and ends the exchange by an exception. With
    /// `hearsRefusal`, the failure comes after the body: 8 KiB of it at most, for 2 s at most. The
    /// task ends with task_canceled as soon as `token` is cancelled. What the HTTP library still
    /// does then can outlive this object, and so must what `checkHead` refers to.
    ///
    /// Never throws: a request that cannot even be made is a failed task, too.
    Concurrency::task<web::http::http_response> send(const HttpRequest& request,
                                                     const Concurrency::cancellation_token& token,
                                                     CheckHead checkHead);

private:
    struct Client {
        web::http::client::http_client client;
        platform::ConnectionGuard connections;
        std::chrono::milliseconds limit;  ///< for a whole exchange
        std::chrono::steady_clock::time_point lastUse;
        bool used;  ///< it may keep a connection
    };

    Client clientFor(const HttpRequest& request);
    static Client makeClient(const web::uri& target);
    static bool serves(const Client& known, const HttpRequest& request);

    std::mutex m_mutex;
    std::map<utility::string_t, Client> m_clients;
};

/// Ends an exchange whose answer is not 200 with Error(text); `line` is logged, with the status as
/// its argument.
inline HttpExchange::CheckHead expectOk(const LoggerPtr& logger, const char* text,
                                        const wchar_t* line) {
    return [logger, text, line](const web::http::http_response& response) {
        if (response.status_code() != web::http::status_codes::OK) {
            Error::Details details;
            details.status = response.status_code();
            fail(logger, {Kind::providerRefused, text, details}, line, response.status_code());
        }
    };
}

}  // namespace auth::detail
