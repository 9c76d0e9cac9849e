#include "platform/RedirectServer.h"

#include "platform/Listening.h"
#include "platform/RedirectAddress.h"
#include "platform/RedirectConnections.h"

#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cpprest/asyncrt_utils.h>

#include <chrono>
#include <list>
#include <stdexcept>
#include <thread>
#include <utility>

namespace platform {

namespace {

namespace net = boost::asio;
using boost::system::error_code;
using net::ip::tcp;

constexpr std::chrono::milliseconds pauseAfterFailure{100};

tcp::acceptor listenOn(net::io_context& context, const tcp::endpoint& endpoint) {
    tcp::acceptor acceptor = openAcceptor(context, endpoint.protocol());
    if (endpoint.protocol() == tcp::v6()) {
        acceptor.set_option(net::ip::v6_only(true));
    }
    acceptor.bind(endpoint);
    acceptor.listen();
    acceptor.non_blocking(true);
    return acceptor;
}

}  // namespace

class RedirectServer::Impl {
public:
    Impl(const RedirectPlace& place, RedirectHandler& handler) : m_connections(handler) {
        listen(place);
        m_thread = std::thread([this] { run(); });
    }

    ~Impl() {
        net::post(m_context, [this] { close(); });
        m_thread.join();
    }

    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

private:
    struct Door {
        tcp::acceptor acceptor;
        net::steady_timer pause{acceptor.get_executor()};
        bool isAwaited = false;  // a peer, or the end of the pause before that, is awaited
        bool hasFailed = false;  // the last attempt to accept a peer has failed
    };

    void listen(const RedirectPlace& place) {
        error_code absent;
        for (const auto& address : addressesOf(place.host)) {
            if (address.is_unspecified()) {
                throw std::runtime_error("its host stands for all addresses of this machine");
            }
            try {
                m_doors.push_back({listenOn(m_context, {address, place.port})});
            } catch (const boost::system::system_error& error) {
                absent = error.code();
                if (absent != boost::system::errc::address_not_available &&
                    absent != boost::system::errc::address_family_not_supported) {
                    throw;
                }
            }
        }
        if (m_doors.empty()) {
            throw boost::system::system_error(absent);
        }
        for (Door& door : m_doors) {
            awaitPeer(door);
        }
    }

    void run() {
        for (;;) {
            try {
                resume();
                m_context.run();
                return;
            } catch (...) {  // NOLINT(bugprone-empty-catch)
                // A connection without a pending operation has been closed by now.
            }
        }
    }

    /// The exception may have interrupted a call that was about to await the next peer; then
    /// nothing would be left to run.
    void resume() {
        m_context.restart();
        for (Door& door : m_doors) {
            if (door.acceptor.is_open() && !door.isAwaited) {
                pause(door);
            }
        }
    }

    void awaitPeer(Door& door) {
        platform::awaitPeer(door.acceptor, [this, &door](const TakePeer& take) {
            door.isAwaited = false;
            if (door.acceptor.is_open()) {
                accept(door, take);
            }
        });
        door.isAwaited = true;
    }

    void accept(Door& door, const TakePeer& take) {
        error_code error;
        tcp::socket socket = take(error);
        if (isShortage(error)) {
            return relieve(door);
        }
        // A single failure is that of a peer that has gone away. If accepting keeps failing,
        // retrying at once would spin.
        if (std::exchange(door.hasFailed, bool(error)) && error) {
            return pause(door);
        }
        awaitPeer(door);
        if (!error) {
            m_connections.serve(std::move(socket));
        }
    }

    static bool isShortage(const error_code& error) {
        using namespace boost::system::errc;
        return error == too_many_files_open || error == too_many_files_open_in_system ||
               error == no_buffer_space || error == not_enough_memory;
    }

    void relieve(Door& door) {
        if (m_connections.closeLongestSilent()) {
            return awaitPeer(door);
        }
        pause(door);
    }

    /// The peer is still waiting to be accepted, so retrying at once would spin.
    void pause(Door& door) {
        door.pause.expires_after(pauseAfterFailure);
        door.pause.async_wait([this, &door](const error_code&) {
            door.isAwaited = false;
            if (door.acceptor.is_open()) {
                awaitPeer(door);
            }
        });
        door.isAwaited = true;
    }

    void close() {
        // Handlers that are already queued find their sockets closed.
        for (Door& door : m_doors) {
            error_code ignored;
            door.acceptor.close(ignored);
            door.pause.cancel();
        }
        m_connections.closeAll();
    }

    RedirectConnections m_connections;
    net::io_context m_context{1};
    std::list<Door> m_doors;
    std::thread m_thread;
};

RedirectServer::RedirectServer(const utility::string_t& url, RedirectHandler& handler) try
    : m_impl(std::make_unique<Impl>(placeOf(url), handler)) {
} catch (const std::exception& error) {
    throw std::runtime_error("cannot listen on " + utility::conversions::to_utf8string(url) + ": " +
                             error.what());
}

RedirectServer::~RedirectServer() = default;

}  // namespace platform
