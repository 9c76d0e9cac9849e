#include "auth/detail/HttpExchange.h"

#include "auth/detail/Clock.h"
#include "auth/detail/Error.h"
#include "auth/detail/FirstOutcome.h"
#include "auth/detail/ProviderWords.h"
#include "auth/detail/Waiting.h"
#include "host/HttpProxyConfig.h"
#include "platform/TaskScheduler.h"
#include "platform/Timer.h"

#include <cpprest/producerconsumerstream.h>

#include <atomic>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

namespace auth::detail {

namespace {

using web::http::http_response;
using web::http::client::http_client;

// The limit of one exchange: the largest answer with its head, the chunk framing, and TLS.
constexpr std::uint64_t largestIntake = std::uint64_t{2} * 1024 * 1024;
constexpr std::chrono::milliseconds longestExchange = std::chrono::hours(24);
// A connection that is idle for longer may be closed by the peer, or forgotten by a router on the
// way, just when the request is written. A POST cannot be sent again then.
constexpr std::chrono::seconds longestRest{3};

// The limits for an answer that is refused by its head: the size of its body, and the wait for it.
constexpr utility::size64_t largestRefusal = utility::size64_t{8} * 1024;
constexpr std::chrono::seconds longestRefusal{2};

Error tooLarge() {
    return {Kind::wrongAnswer, "response is too large"};
}

void checkSize(utility::size64_t bytes, utility::size64_t most) {
    if (bytes > most) {
        throw tooLarge();
    }
}

/// If a kept connection ends while the answer is awaited, the HTTP library sends the request again,
/// although the peer may have acted on it. It does not do so if it cannot rewind the body.
Concurrency::streams::istream readOnce(const std::string& body) {
    Concurrency::streams::producer_consumer_buffer<std::uint8_t> buffer(body.size());
    buffer.putn_nocopy(reinterpret_cast<const std::uint8_t*>(body.data()), body.size()).get();
    return buffer.create_istream();
}

web::http::http_request makeMessage(const HttpRequest& request) {
    using web::http::methods;
    web::http::http_request message(request.body.empty() ? methods::GET : methods::POST);
    const web::uri& target = request.target;
    message.set_request_uri(
        web::uri_builder().set_path(target.path()).set_query(target.query()).to_uri());
    message.headers() = request.headers;  // before the body, which would set its own content type
    if (!request.body.empty()) {
        message.set_body(readOnce(request.body), request.body.size());
    }
    return message;
}

/// One exchange:
///
///     attempted ── a complete answer ────────────────────────────────────────► answered
///      │     │ └── a failure, the time limit, cancellation ─► abandoned: connection closed
///      │     └──── a failure before the whole request is written to a kept connection ─┐
///      └───────────────────── once, by a client without connections ◄──────────────────┘
///
/// The time limit and a cancellation take effect at once, whatever the HTTP library is waiting for.
/// Once the head is refused, the exchange fails with that refusal, or with task_canceled. With
/// `hearsRefusal` it reads the body first.
class Exchange : public std::enable_shared_from_this<Exchange> {
public:
    Exchange(const http_client& client, const platform::ConnectionGuard& connections,
             HttpRequest request, HttpExchange::CheckHead checkHead)
        : m_client(client),
          m_connections(connections),
          m_request(std::move(request)),
          m_checkHead(std::move(checkHead)) {}

    /// With `mayRepeat`, the client may still hold a connection that the peer has closed.
    Concurrency::task<http_response> start(std::chrono::milliseconds limit,
                                           const Concurrency::cancellation_token& token,
                                           bool mayRepeat);

private:
    struct Progress;

    void attempt(bool mayRepeat);
    void examine(const http_response& response, Progress& progress);
    void deliver(const Concurrency::task<http_response>& finished, bool mayRepeat);
    void repeat();
    void abandon(const std::exception_ptr& reason);
    std::function<void()> abandonWith(std::exception_ptr reason);
    std::shared_ptr<const Error> refusal() const { return std::atomic_load(&m_refusal); }

    http_client m_client;
    const platform::ConnectionGuard m_connections;
    const HttpRequest m_request;
    const HttpExchange::CheckHead m_checkHead;
    const Concurrency::cancellation_token_source m_stop;  // cancelled when abandoned
    FirstOutcome<http_response> m_outcome;
    std::shared_ptr<const Error> m_refusal;  // set if the head is refused; the timer reads it, too

    // Released with the outcome.
    std::optional<platform::OneShotTimer> m_timer;
    std::optional<Interruption> m_interruption;
};

Concurrency::task<http_response> Exchange::start(std::chrono::milliseconds limit,
                                                 const Concurrency::cancellation_token& token,
                                                 bool mayRepeat) {
    m_connections.begin();
    m_timer.emplace(limit, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            const auto refused = self->refusal();
            self->abandon(refused ? std::make_exception_ptr(*refused)
                                  : std::make_exception_ptr(web::http::http_exception(
                                        std::make_error_code(std::errc::timed_out),
                                        "no complete response in time")));
        }
    });
    m_interruption.emplace(token,
                           abandonWith(std::make_exception_ptr(Concurrency::task_canceled())));
    auto result = m_outcome.task().then(
        [self = shared_from_this()](const Concurrency::task<http_response>& outcome) {
            self->m_timer.reset();
            self->m_interruption.reset();
            return outcome.get();
        },
        platform::inlined());
    if (!m_outcome.isDecided()) {
        try {
            attempt(mayRepeat);
        } catch (...) {
            abandon(std::current_exception());
        }
    }
    return result;
}

struct Exchange::Progress {
    std::atomic<bool> isSent{false};
    std::atomic<utility::size64_t> largestAnswer;
    std::optional<platform::OneShotTimer> refusalEnd;
};

void Exchange::attempt(bool mayRepeat) {
    // The HTTP library returns the connection to its pool when it releases the request, a moment
    // after the answer is complete. A request before that would need another connection.
    const Concurrency::task_completion_event<void> letGo;
    const std::shared_ptr<void> guard(nullptr, [letGo](void*) { letGo.set(); });
    const auto progress = std::make_shared<Progress>();
    progress->largestAnswer = m_request.largestAnswer;
    const auto self = shared_from_this();
    web::http::http_request message = makeMessage(m_request);
    message.set_progress_handler(
        [guard, progress, size = m_request.body.size()](
            web::http::message_direction::direction direction, utility::size64_t bytes) {
            if (direction == web::http::message_direction::download) {
                checkSize(bytes, progress->largestAnswer);
            } else if (bytes >= size) {
                progress->isSent = true;
            }
        });
    // The rest of the chain runs inline, too: a task inherits the scheduler options of the previous
    // one.
    m_client.request(message, m_stop.get_token())
        .then(
            [self, progress](const http_response& response) {
                if (!self->m_outcome.isDecided()) {
                    self->examine(response, *progress);
                }
                checkSize(response.headers().content_length(), progress->largestAnswer);
                return response.content_ready();
            },
            platform::inlined())
        .then([letGo](const http_response& response) {
            return Concurrency::create_task(letGo).then([response] { return response; },
                                                        platform::inlined());
        })
        .then([self, progress, mayRepeat](const Concurrency::task<http_response>& finished) {
            progress->refusalEnd.reset();
            // The peer cannot have acted on an incomplete request.
            self->deliver(finished, mayRepeat && !progress->isSent);
        });
}

void Exchange::examine(const http_response& response, Progress& progress) {
    try {
        m_checkHead(response);
    } catch (const Error& refusal) {
        if (!m_request.hearsRefusal || !progress.isSent) {
            throw;
        }
        std::atomic_store(&m_refusal, std::make_shared<const Error>(refusal));
        progress.largestAnswer = largestRefusal;
        progress.refusalEnd.emplace(longestRefusal, abandonWith(std::make_exception_ptr(refusal)));
    }
}

void Exchange::deliver(const Concurrency::task<http_response>& finished, bool mayRepeat) {
    try {
        const http_response response = finished.get();
        if (const auto refused = refusal()) {
            const auto body = response._get_impl()->_extract_vector();
            checkSize(body.size(), largestRefusal);  // more may have arrived with the head
            abandon(std::make_exception_ptr(withWords(*refused, wordsOfAnswer(body))));
        } else {
            m_outcome.set(response);
        }
    } catch (...) {
        if (const auto refused = refusal()) {
            abandon(std::make_exception_ptr(*refused));
        } else if (m_connections.isFlooded()) {
            abandon(std::make_exception_ptr(tooLarge()));
        } else if (mayRepeat && !m_outcome.isDecided()) {
            repeat();
        } else {
            abandon(std::current_exception());
        }
    }
}

void Exchange::repeat() {
    try {
        m_client = http_client(m_client.base_uri(), m_client.client_config());
        attempt(false);
    } catch (...) {
        abandon(std::current_exception());
    }
}

void Exchange::abandon(const std::exception_ptr& reason) {
    if (m_outcome.fail(reason)) {
        // The rest of the answer is not needed: this closes the connection.
        m_connections.close([stop = m_stop] { stop.cancel(); });
    }
}

std::function<void()> Exchange::abandonWith(std::exception_ptr reason) {
    return [weak = weak_from_this(), reason = std::move(reason)] {
        if (const auto self = weak.lock()) {
            self->abandon(reason);
        }
    };
}

}  // namespace

Concurrency::task<http_response> HttpExchange::send(const HttpRequest& request,
                                                    const Concurrency::cancellation_token& token,
                                                    CheckHead checkHead) {
    return started([&] {
        const auto known = clientFor(request);
        return std::make_shared<Exchange>(known.client, known.connections, request,
                                          std::move(checkHead))
            ->start(known.limit, token, known.used);
    });
}

HttpExchange::Client HttpExchange::clientFor(const HttpRequest& request) {
    const utility::string_t origin = request.target.authority().to_string();
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto known = m_clients.find(origin);
    if (known == m_clients.end() || !serves(known->second, request)) {
        return m_clients.insert_or_assign(origin, makeClient(request.target)).first->second;
    }
    known->second.lastUse = steadyNow();
    known->second.used = true;
    return known->second;
}

/// If a kept connection fails while the answer to a POST is awaited, nobody can tell whether the
/// peer had already closed it. So only a connection that looks alive is used.
bool HttpExchange::serves(const Client& known, const HttpRequest& request) {
    return request.body.empty() ||
           (known.connections.noticesClosedOnes() && steadyNow() - known.lastUse <= longestRest);
}

HttpExchange::Client HttpExchange::makeClient(const web::uri& target) {
    if (target.port() > std::numeric_limits<std::uint16_t>::max()) {
        // The port would be truncated to a different one.
        throw Error(Kind::wrongAnswer, "port is not within 1 and 65535");
    }
    auto config = get_http_proxy_config(target);
    config.set_max_redirects(0);
    const auto given = config.timeout<std::chrono::milliseconds>();
    const bool isBounded = given > std::chrono::milliseconds::zero() && given < longestExchange;
    const auto limit = isBounded ? given : longestExchange;
    // The client's own time-out restarts with every part of an answer. Ours is shorter.
    config.set_timeout(2 * limit);
    const web::uri origin = target.authority();
    const platform::ConnectionGuard connections(origin, config, largestIntake);
    return {{origin, config}, connections, limit, steadyNow(), false};
}

}  // namespace auth::detail
