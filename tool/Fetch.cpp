#include "tool/Fetch.h"

#include "host/HttpProxyConfig.h"
#include "tool/Asking.h"

#include <cpprest/http_client.h>

#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <system_error>

namespace tool {

namespace {

using web::http::http_exception;
using web::http::http_response;

web::http::http_request makeRequest(const web::uri& url) {
    constexpr utility::size64_t largest = utility::size64_t{1024} * 1024;
    web::http::http_request request(web::http::methods::GET);
    request.set_request_uri(
        web::uri_builder().set_path(url.path()).set_query(url.query()).to_uri());
    request.set_progress_handler([](auto direction, utility::size64_t bytes) {
        if (direction == web::http::message_direction::download && bytes > largest) {
            throw http_exception("the answer is too large");
        }
    });
    return request;
}

/// What one thread waits for and others bring. It outlives a wait that was given up, and so reads
/// every outcome.
class Pending {
public:
    void bring(const pplx::task<web::json::value>& ended) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        try {
            m_document = ended.get();
        } catch (...) {
            m_failure = std::current_exception();
        }
        m_isThere = true;
        m_changed.notify_all();
    }

    void cancel() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isCancelled = true;
        m_changed.notify_all();
    }

    web::json::value wait(std::chrono::seconds limit) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait_for(lock, limit, [this] { return m_isThere || m_isCancelled; });
        if (m_isCancelled) {
            throw Concurrency::task_canceled();
        }
        if (!m_isThere) {
            throw http_exception(std::make_error_code(std::errc::timed_out),
                                 "no complete response in time");
        }
        if (m_failure) {
            std::rethrow_exception(m_failure);
        }
        return m_document;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_isThere = false;
    bool m_isCancelled = false;
    web::json::value m_document;
    std::exception_ptr m_failure;
};

}  // namespace

web::json::value fetchJson(const std::string& url, const utility::string_t& otherType,
                           const Concurrency::cancellation_token& token) {
    const web::uri target(utility::conversions::to_string_t(url));
    auto config = get_http_proxy_config(target);
    config.set_max_redirects(0);
    const auto pending = std::make_shared<Pending>();
    web::http::client::http_client(target.authority(), config)
        .request(makeRequest(target))
        .then([otherType](const http_response& response) {
            if (response.status_code() != web::http::status_codes::OK) {
                throw http_exception("answered with status " +
                                     std::to_string(response.status_code()));
            }
            const auto type = response.headers().content_type();
            return response.extract_json(!otherType.empty() &&
                                         type.find(otherType) != utility::string_t::npos);
        })
        .then([pending](const pplx::task<web::json::value>& ended) { pending->bring(ended); });
    token.register_callback([pending] { pending->cancel(); });
    try {
        return pending->wait(config.timeout<std::chrono::seconds>());
    } catch (const http_exception& error) {
        throw named(error, url);
    }
}

}  // namespace tool
