#include "tool/Tunnel.h"

#include "tool/Environment.h"
#include "tool/Terminal.h"

#include <boost/asio/ip/host_name.hpp>
#include <cpprest/base_uri.h>

#include <algorithm>
#include <sstream>

namespace tool {

namespace {

bool consistsOf(const std::string& text, const char* characters) {
    return !text.empty() && text.find_first_not_of(characters) == std::string::npos;
}

/// Quoted as one word of a shell's command line: some shells treat brackets as a pattern.
std::string quoted(const std::string& word) {
    constexpr const char* plain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
        "@%+:._-";
    return consistsOf(word, plain) ? word : '\'' + word + '\'';
}

std::optional<web::uri> redirectUrlIn(const std::string& authorizationUrl) {
    const web::uri url(utility::conversions::to_string_t(authorizationUrl));
    const auto parameters = web::uri::split_query(url.query());
    const auto found = parameters.find(_XPLATSTR("redirect_uri"));
    if (found == parameters.end()) {
        return std::nullopt;
    }
    return web::uri(web::uri::decode(found->second));
}

/// The address and port of this machine that the user's ssh session uses.
struct Door {
    std::string host;
    std::string port;
};

Door doorOfUser() {
    std::string ignored;
    Door door;
    std::istringstream(variable("SSH_CONNECTION")) >> ignored >> ignored >> door.host >> door.port;
    // An address with a zone is meaningless on another machine.
    if (consistsOf(door.host, "0123456789abcdefABCDEF.:") && consistsOf(door.port, "0123456789")) {
        return door;
    }
    return {boost::asio::ip::host_name(), ""};
}

}  // namespace

bool isReachedBySsh() {
    return !variable("SSH_CONNECTION").empty() || !variable("SSH_TTY").empty();
}

std::optional<std::string> tunnelCommand(const std::string& authorizationUrl) {
    const auto redirectUrl = redirectUrlIn(authorizationUrl);
    if (!redirectUrl) {
        return std::nullopt;
    }
    const std::string host = utility::conversions::to_utf8string(redirectUrl->host());
    // Unless ssh is told otherwise, a tunnel listens on both loopback addresses of the user's
    // machine.
    if (host != "127.0.0.1" && host != "localhost" && host != "[::1]") {
        return std::nullopt;
    }
    constexpr int portOfHttp = 80;
    const std::string port =
        std::to_string(redirectUrl->is_port_default() ? portOfHttp : redirectUrl->port());
    const Door door = doorOfUser();
    const bool isUsualPort = door.port.empty() || door.port == "22";
    const std::string user = userName();
    return "ssh -L " + quoted(port + ':' + host + ':' + port) +
           (isUsualPort ? "" : " -p " + door.port) + ' ' +
           quoted((user.empty() ? "" : user + '@') + door.host);
}

}  // namespace tool
