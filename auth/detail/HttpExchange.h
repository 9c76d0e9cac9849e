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

/// The request to send: a GET without a body, a POST with one. A POST is sent at most once, because
/// it would do harm if the peer acted on it twice, as with a code that is redeemed.
struct HttpRequest {
    web::uri target;  ///< its fragment is not sent
    web::http::http_headers headers;
    std::string body;  ///< UTF-8
    /// An answer with a larger body fails. Configurations and key sets are a few kilobytes.
    utility::size64_t largestAnswer = utility::size64_t{512} * 1024;
    /// If the answer is refused by its head, its body is still read for the provider's error texts.
    bool hearsRefusal = false;
};

/// Makes all HTTP exchanges of one protocol object, and keeps one client per origin: a new client
/// costs a connection and, with TLS, the loading of the certificate authorities.
///
/// Redirects are not followed. The host's time-out limits the whole exchange, from the connection
/// to the last byte of the answer, however slowly the peer sends; if the host sets none, or more
/// than a day, the limit is a day. An answer above its size limit fails, and so does an endless
/// head, except on connections that platform::ConnectionGuard cannot guard. If the peer closed a
/// kept connection before the request, that is not a failure.
class HttpExchange {
public:
    using CheckHead = std::function<void(const web::http::http_response&)>;

    /// Sends the request and returns the answer once its body has arrived. `checkHead` sees the
    /// answer before that, and ends the exchange by throwing. With `hearsRefusal`, the failure
    /// follows after the body: at most 8 KiB of it, for at most 2 s. The task ends with
    /// task_canceled as soon as `token` is cancelled. The HTTP library may then still be busy, even
    /// after this object is destroyed, and whatever `checkHead` refers to must live until it stops.
    ///
    /// Never throws: if a request cannot even be created, the task fails.
    Concurrency::task<web::http::http_response> send(const HttpRequest& request,
                                                     const Concurrency::cancellation_token& token,
                                                     CheckHead checkHead);

private:
    struct Client {
        web::http::client::http_client client;
        platform::ConnectionGuard connections;
        std::chrono::milliseconds limit;  ///< for a whole exchange
        std::chrono::steady_clock::time_point lastUse;
        bool used;  ///< the client may hold a connection
    };

    Client clientFor(const HttpRequest& request);
    static Client makeClient(const web::uri& target);
    static bool serves(const Client& known, const HttpRequest& request);

    std::mutex m_mutex;
    std::map<utility::string_t, Client> m_clients;
};

/// For an answer other than 200, logs `line` with the status as its argument and ends the exchange
/// with Error(text).
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
