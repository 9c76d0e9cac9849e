#include "fuzz/Require.h"
#include "fuzz/SignIn.h"
#include "tests/support/RawPeer.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <boost/asio/ip/address_v4.hpp>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

// The input is sent by a peer to a listener, over a real connection and in two parts. All inputs
// share one listener. A listener for a single input takes several times as long, so only every
// eighth input has one: it gets the input in one part, and its outcome is checked.

namespace {

using boost::asio::ip::address_v4;

constexpr unsigned short commonPort = 8080;
constexpr unsigned short ownPort = 8081;
constexpr std::size_t perOwnListener = 8;

/// The server's end of the last connection.
std::atomic<int> accepted{-1};

/// A loopback address that no other process uses, so that all its ports are free.
address_v4 ownLoopback() {
    return address_v4((127U << 24U) + static_cast<unsigned>(::getpid()));
}

/// Otherwise libFuzzer's own timer would interrupt reads.
bool goOnAfterAlarms() {
    struct sigaction alarm {};
    ::sigaction(SIGALRM, nullptr, &alarm);
    alarm.sa_flags |= SA_RESTART;
    return ::sigaction(SIGALRM, &alarm, nullptr) == 0;
}

void awaitReading() {
    int unread = 0;
    while (accepted < 0 || (::ioctl(accepted, FIONREAD, &unread) == 0 && unread > 0)) {
        std::this_thread::yield();
    }
}

std::string urlWith(unsigned short port) {
    return "http://" + ownLoopback().to_string() + ':' + std::to_string(port) + "/callback";
}

/// The final answer to a request. Whether there is an interim one depends on the parts.
std::string answerTo(const std::string& request, unsigned short port, std::size_t firstPiece) {
    accepted = -1;
    test::RawPeer peer(port, ownLoopback());
    peer.send(request.substr(0, firstPiece));
    awaitReading();
    peer.send(request.substr(firstPiece));
    peer.finish();
    const std::string answer = peer.receive();
    const std::string interim = "HTTP/1.1 100 Continue\r\n\r\n";
    return answer.substr(answer.compare(0, interim.size(), interim) == 0 ? interim.size() : 0);
}

/// The status of an answer, which must be complete and the only one.
int statusOf(const std::string& answer, const std::string& request) {
    int status = 0;
    int head = 0;
    std::size_t length = 0;
    // NOLINTNEXTLINE(cert-err34-c): without a number the length does not match
    std::sscanf(answer.c_str(),
                "HTTP/1.1 %d %*[^\r]\r\nContent-Type: text/html\r\n"
                "Content-Length: %zu\r\nConnection: close\r\n\r\n%n",
                &status, &length, &head);
    const std::size_t body = answer.size() - static_cast<std::size_t>(head);
    fuzz::require(head > 0 &&
                  (body == length || (body == 0 && request.compare(0, 5, "HEAD ") == 0)));
    return status;
}

std::string joined(const std::string& chunks) {
    std::string body;
    for (std::size_t at = 0;;) {
        const std::size_t size = std::stoul(chunks.substr(at), nullptr, 16);
        if (size == 0) {
            return body;
        }
        at = chunks.find("\r\n", at) + 2;
        body += chunks.substr(at, size);
        at += size + 2;
    }
}

/// Parses the form that the listener accepted a second time; nothing if it has another content
/// type, or an encoding that the server does not decode.
std::optional<std::string> formOf(const std::string& request) {
    const std::size_t headSize = request.find("\r\n\r\n");
    std::istringstream head(request.substr(0, headSize));
    std::string line;
    std::getline(head, line);
    fuzz::require(line.compare(0, 5, "POST ") == 0 && line.find("/callback") != std::string::npos);
    std::map<std::string, std::string> fields;
    while (std::getline(head, line)) {
        const std::size_t name = line.find(':');
        fields.emplace(boost::algorithm::to_lower_copy(line.substr(0, name)),
                       boost::algorithm::trim_copy(line.substr(name + 1)));
    }
    const std::string& coding = fields["transfer-encoding"];
    if (fields["content-type"] != fuzz::formType || !(coding.empty() || coding == "chunked")) {
        return std::nullopt;
    }
    const std::string rest = request.substr(headSize + 4);
    return coding.empty() ? rest.substr(0, std::stoul(fields["content-length"])) : joined(rest);
}

/// Uses a listener for this request alone.
void checkAlone(const std::string& request, const std::string& answer, bool isAccepted) {
    fuzz::SignIn signIn(urlWith(ownPort));
    fuzz::require(answerTo(request, ownPort, 0) == answer);
    const auto received = signIn.end();
    fuzz::require(received.has_value() == isAccepted);
    if (isAccepted) {
        const auto form = formOf(request);
        fuzz::require(!form || fuzz::isOf(*form, received));
    }
}

}  // namespace

extern "C" {

// The linker redirects the server's calls to these.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker's names
int __real_accept4(int door, sockaddr* address, socklen_t* size, int flags);

int __wrap_accept4(int door, sockaddr* address, socklen_t* size, int flags) {
    return accepted = __real_accept4(door, address, size, flags);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool goesOn = goOnAfterAlarms();
    fuzz::require(goesOn);
    static const fuzz::SignIn common(urlWith(commonPort));
    const std::string request(reinterpret_cast<const char*>(data), size);
    const std::size_t hash = std::hash<std::string>()(request);
    const std::string answer = answerTo(request, commonPort, hash / perOwnListener % (size + 1));
    const bool isAccepted = size > 0 && statusOf(answer, request) == 200;
    if (hash % perOwnListener == 0) {
        checkAlone(request, answer, isAccepted);
    }
    return 0;
}
}
