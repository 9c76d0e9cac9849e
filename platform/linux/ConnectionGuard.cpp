#include "platform/ConnectionGuard.h"

#include "platform/HttpPool.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/strand.hpp>

#include <atomic>
#include <utility>

namespace platform {

using boost::asio::ip::tcp;

/// What is done to the connections is done through a strand: one thing at a time.
struct ConnectionGuard::Impl {
    using Strand = boost::asio::strand<boost::asio::io_context::executor_type>;

    /// A connection that is not open yet is put on the strand; it stays there when it is kept.
    void adopt(tcp::socket& socket) const {
        if (!socket.is_open()) {
            socket = tcp::socket(strand);
        }
    }

    Strand strand{httpPool().get_executor()};
};

ConnectionGuard::ConnectionGuard(const web::uri& origin,
                                 web::http::client::http_client_config& config)
    : m_impl(std::make_shared<Impl>()) {
    using Native = web::http::client::native_handle;
    const auto plain = [impl = m_impl, host = config](Native socket) {
        impl->adopt(*static_cast<tcp::socket*>(socket));
        host.invoke_nativehandle_options(socket);
    };
    if (origin.scheme() != _XPLATSTR("https")) {
        config.set_nativehandle_options(plain);
    } else if (!config.proxy().is_specified()) {
        config.set_nativehandle_options([impl = m_impl, host = config](Native stream) {
            impl->adopt(static_cast<boost::asio::ssl::stream<tcp::socket&>*>(stream)->next_layer());
            host.invoke_nativehandle_options(stream);
        });
    } else {
        // A tunnel is a plain connection at first, and a TLS stream when it is used again.
        config.set_nativehandle_options(
            [plain, host = config,
             first = std::make_shared<std::atomic<bool>>(true)](Native handle) {
                first->exchange(false) ? plain(handle) : host.invoke_nativehandle_options(handle);
            });
    }
}

void ConnectionGuard::close(std::function<void()> cancel) const {
    boost::asio::post(m_impl->strand, std::move(cancel));
}

}  // namespace platform
