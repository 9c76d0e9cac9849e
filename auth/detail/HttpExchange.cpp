#include "auth/detail/HttpExchange.h"

#include "auth/detail/Error.h"
#include "auth/detail/Waiting.h"
#include "host/HttpProxyConfig.h"
#include "platform/TaskScheduler.h"
#include "platform/Timer.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

namespace auth::detail {

namespace {

using web::http::http_response;
using web::http::client::http_client;

// Discovery documents, key sets and token answers are a few kilobytes.
constexpr utility::size64_t largestAnswer = utility::size64_t{1024} * 1024;
// Of one exchange: with its head, what frames its chunks, and TLS.
constexpr std::uint64_t largestIntake = 4 * largestAnswer;

const char* const tooLarge = "response is too large";

void checkSize(utility::size64_t bytes) {
    if (bytes > largestAnswer) {
        throw Error(tooLarge);
    }
}

web::http::http_request makeMessage(const HttpRequest& request) {
    using web::http::methods;
    web::http::http_request message(request.body.empty() ? methods::GET : methods::POST);
    const web::uri& target = request.target;
    message.set_request_uri(
        web::uri_builder().set_path(target.path()).set_query(target.query()).to_uri());
    message.headers() = request.headers;  // before the body, which would bring a type of its own
    if (!request.body.empty()) {
        message.set_body(request.body);
    }
    return message;
}

/// One exchange under way. Its first outcome counts: the answer, the end of time, or cancellation;
/// the latter two come at once, whatever the HTTP library is waiting for.
class Exchange : public std::enable_shared_from_this<Exchange> {
public:
    /// With `used`, the client may still keep a connection that the peer has closed.
    Exchange(const http_client& client, const platform::ConnectionGuard& connections, bool used,
             HttpRequest request, HttpExchange::CheckHead checkHead,
             const Concurrency::cancellation_token& token)
        : m_client(client),
          m_connections(connections),
          m_mayRepeat(used),
          m_request(std::move(request)),
          m_checkHead(std::move(checkHead)),
          m_token(token) {}

    Concurrency::task<http_response> start(std::chrono::milliseconds limit);

private:
    void watch(std::chrono::milliseconds limit);
    void attempt();
    void deliver(const Concurrency::task<http_response>& finished, bool sent);
    bool repeat();
    void abandon(const std::exception_ptr& reason);
    void release();

    http_client m_client;
    const platform::ConnectionGuard m_connections;
    bool m_mayRepeat;
    const HttpRequest m_request;
    const HttpExchange::CheckHead m_checkHead;
    Concurrency::cancellation_token m_token;
    Concurrency::cancellation_token_source m_stop;  // cancelled a moment after m_abandoned is set
    std::atomic<bool> m_abandoned{false};
    // The event itself must not be asked to choose: an exception that meets a value there can be
    // left unread, and ends the process.
    std::atomic<bool> m_decided{false};
    Concurrency::task_completion_event<http_response> m_outcome;

    std::mutex m_mutex;  // guards the rest: an outcome can come while they are still being made
    bool m_released = false;
    std::optional<platform::OneShotTimer> m_timer;
    std::optional<Concurrency::cancellation_token_registration> m_registration;
};

Concurrency::task<http_response> Exchange::start(std::chrono::milliseconds limit) {
    auto result = Concurrency::create_task(m_outcome).then(
        [self = shared_from_this()](const Concurrency::task<http_response>& outcome) {
            self->release();
            return outcome.get();
        },
        platform::inlined());
    m_connections.begin();
    watch(limit);
    if (!m_abandoned) {
        attempt();
    }
    return result;
}

void Exchange::attempt() {
    // The HTTP library gives the connection back when it lets go of the request, a moment after the
    // answer is complete. Whoever asks again before that would need another connection.
    const Concurrency::task_completion_event<void> letGo;
    const std::shared_ptr<void> guard(nullptr, [letGo](void*) { letGo.set(); });
    const auto sent = std::make_shared<std::atomic<bool>>(false);
    web::http::http_request message = makeMessage(m_request);
    message.set_progress_handler(
        [guard, sent, size = m_request.body.size()](
            web::http::message_direction::direction direction, utility::size64_t bytes) {
            if (direction == web::http::message_direction::download) {
                checkSize(bytes);
            } else if (bytes >= size) {
                *sent = true;
            }
        });
    const auto self = shared_from_this();
    m_client.request(message, m_stop.get_token())
        .then([self](const http_response& response) {
            if (!self->m_abandoned) {
                self->m_checkHead(response);
            }
            checkSize(response.headers().content_length());
            return response.content_ready();
        })
        .then([letGo](const http_response& response) {
            return Concurrency::create_task(letGo).then([response] { return response; });
        })
        .then([self, sent](const Concurrency::task<http_response>& finished) {
            self->deliver(finished, *sent);
        });
}

void Exchange::watch(std::chrono::milliseconds limit) {
    const auto abandonWith = [weak = weak_from_this()](std::exception_ptr reason) {
        return [weak, reason = std::move(reason)] {
            if (const auto self = weak.lock()) {
                self->abandon(reason);
            }
        };
    };
    std::unique_lock<std::mutex> lock(m_mutex);
    m_timer.emplace(
        limit, abandonWith(std::make_exception_ptr(web::http::http_exception(
                   std::make_error_code(std::errc::timed_out), "no complete response in time"))));
    if (!m_token.is_cancelable()) {
        return;
    }
    lock.unlock();  // a token that is cancelled already calls back at once, on this thread
    const auto registration = m_token.register_callback(
        abandonWith(std::make_exception_ptr(Concurrency::task_canceled())));
    lock.lock();
    if (m_released) {
        lock.unlock();
        deregister(m_token, registration);
    } else {
        m_registration = registration;
    }
}

void Exchange::deliver(const Concurrency::task<http_response>& finished, bool sent) {
    try {
        const http_response response = finished.get();
        if (!m_decided.exchange(true)) {
            m_outcome.set(response);
        }
    } catch (...) {
        if (m_connections.isFlooded()) {
            abandon(std::make_exception_ptr(Error(tooLarge)));
        } else if (sent || !repeat()) {
            abandon(std::current_exception());
        }
    }
}

/// The HTTP library tries again by itself when a kept connection turns out to be closed while the
/// answer is awaited, but not when that happens while the request is written. The peer cannot have
/// acted on half a request, so that sending it again on a new connection is safe.
bool Exchange::repeat() {
    if (!std::exchange(m_mayRepeat, false) || m_abandoned) {
        return false;
    }
    try {
        m_client = http_client(m_client.base_uri(), m_client.client_config());
        attempt();
        return true;
    } catch (...) {
        return false;
    }
}

void Exchange::abandon(const std::exception_ptr& reason) {
    m_abandoned = true;
    if (!m_decided.exchange(true)) {
        m_outcome.set_exception(reason);
    }
    // Whatever the peer still sends is not wanted: this closes the connection.
    m_connections.close([stop = m_stop] { stop.cancel(); });
}

void Exchange::release() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_released = true;
    m_timer.reset();
    const auto registration = std::exchange(m_registration, std::nullopt);
    lock.unlock();  // the next call waits for a callback that runs meanwhile
    if (registration) {
        deregister(m_token, *registration);
    }
}

}  // namespace

Concurrency::task<http_response> HttpExchange::send(const HttpRequest& request,
                                                    const Concurrency::cancellation_token& token,
                                                    CheckHead checkHead) {
    const auto [client, connections, limit, used] =
        request.atMostOnce ? makeClient(request.target) : clientFor(request.target);
    return std::make_shared<Exchange>(client, connections, used, request, std::move(checkHead),
                                      token)
        ->start(limit);
}

HttpExchange::Client HttpExchange::clientFor(const web::uri& target) {
    const utility::string_t origin = target.authority().to_string();
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto known = m_clients.find(origin);
    if (known != m_clients.end()) {
        known->second.used = true;
        return known->second;
    }
    return m_clients.emplace(origin, makeClient(target)).first->second;
}

HttpExchange::Client HttpExchange::makeClient(const web::uri& target) {
    auto config = get_http_proxy_config(target);
    config.set_max_redirects(0);
    const auto limit = config.timeout<std::chrono::milliseconds>();
    // The client's own time-out starts anew with every piece of an answer. Ours comes first.
    config.set_timeout(2 * limit);
    const web::uri origin = target.authority();
    const platform::ConnectionGuard connections(origin, config, largestIntake);
    return {{origin, config}, connections, limit, false};
}

}  // namespace auth::detail
