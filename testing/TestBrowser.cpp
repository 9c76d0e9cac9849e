#include "testing/TestBrowser.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/host_name_verification.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace auth::testing {
namespace {

namespace beast = boost::beast;
namespace http = beast::http;
namespace net = boost::asio;
using net::ip::tcp;

constexpr std::chrono::seconds limit{30};

struct Url {
    bool tls = false;
    std::string authority;  // as in the Host field
    std::string host;
    std::string port;
    std::string target;
};

Url parsed(const std::string& text) {
    const bool tls = text.rfind("https://", 0) == 0;
    if (!tls && text.rfind("http://", 0) != 0) {
        throw std::runtime_error("neither http nor https: " + text);
    }
    const auto rest = text.substr(text.find("//") + 2);
    const auto end = std::min(rest.find_first_of("/?#"), rest.size());
    Url url{tls, rest.substr(0, end), "", tls ? "443" : "80", ""};
    const auto target = rest.substr(end, rest.find('#') - end);
    url.target = (target.rfind('/', 0) == 0 ? "" : "/") + target;
    const auto colon = url.authority.find(':', url.authority.find(']') + 1);
    url.host = url.authority.substr(0, colon);
    if (colon != std::string::npos) {
        url.port = url.authority.substr(colon + 1);
    }
    if (url.host.rfind('[', 0) == 0) {
        url.host = url.host.substr(1, url.host.size() - 2);
    }
    return url;
}

// Runs one asynchronous operation to its end: only asynchronous ones have a time limit.
template <class Start>
void complete(net::io_context& io, Start start) {
    beast::error_code outcome;
    start([&outcome](const beast::error_code& error, const auto&...) { outcome = error; });
    io.restart();
    io.run();
    if (outcome) {
        throw std::runtime_error(outcome.message());
    }
}

using Request = http::request<http::string_body>;

template <class Stream>
PageAnswer converse(net::io_context& io, Stream& stream, const Request& request) {
    complete(io, [&](auto done) { http::async_write(stream, request, done); });
    beast::flat_buffer buffer;
    http::response_parser<http::string_body> parser;
    complete(io, [&](auto done) { http::async_read(stream, buffer, parser, done); });
    auto response = parser.release();
    const auto type = response[http::field::content_type];
    return {response.result_int(), {type.data(), type.size()}, std::move(response.body())};
}

PageAnswer overTls(net::io_context& io, beast::tcp_stream plain, const Url& url,
                   const std::filesystem::path& authorityFile, const Request& request) {
    net::ssl::context context(net::ssl::context::tls_client);
    context.set_verify_mode(net::ssl::verify_peer);
    context.load_verify_file(authorityFile.string());
    beast::ssl_stream<beast::tcp_stream> stream(std::move(plain), context);
    stream.set_verify_callback(net::ssl::host_name_verification(url.host));
    complete(io, [&](auto done) { stream.async_handshake(net::ssl::stream_base::client, done); });
    return converse(io, stream, request);
}

PageAnswer exchange(Request request, const std::string& address,
                    const std::filesystem::path& authorityFile) {
    const auto url = parsed(address);
    request.target(url.target);
    request.set(http::field::host, url.authority);
    request.prepare_payload();

    net::io_context io;
    beast::tcp_stream stream(io);
    stream.expires_after(limit);
    const auto addresses = tcp::resolver(io).resolve(url.host, url.port);
    complete(io, [&](auto done) { stream.async_connect(addresses, done); });
    return url.tls ? overTls(io, std::move(stream), url, authorityFile, request)
                   : converse(io, stream, request);
}

// Returns the text up to `end` and removes both from the front of `rest`. Without such an end,
// returns nothing and removes nothing.
std::optional<std::string_view> upTo(std::string_view end, std::string_view& rest) {
    const auto at = rest.find(end);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    const auto text = rest.substr(0, at);
    rest.remove_prefix(at + end.size());
    return text;
}

std::string unescaped(std::string_view html) {
    constexpr std::array<std::pair<std::string_view, char>, 5> entities{
        {{"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&#39;", '\''}}};
    std::string text;
    while (!html.empty()) {
        std::size_t size = 1;
        char character = html.front();
        for (const auto& [entity, meaning] : entities) {
            if (html.substr(0, entity.size()) == entity) {
                size = entity.size();
                character = meaning;
            }
        }
        text += character;
        html.remove_prefix(size);
    }
    return text;
}

std::string attribute(std::string_view tag, const std::string& name) {
    const bool found = upTo(' ' + name + "=\"", tag).has_value();
    return found ? unescaped(upTo("\"", tag).value_or("")) : "";
}

// As the URL standard defines application/x-www-form-urlencoded.
std::string formEncoded(const std::string& text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    constexpr std::string_view kept =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789*-._";
    std::string encoded;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == ' ') {
            encoded += '+';
        } else if (kept.find(character) != std::string_view::npos) {
            encoded += character;
        } else {
            encoded.append({'%', digits[byte / 16U], digits[byte % 16U]});
        }
    }
    return encoded;
}

}  // namespace

FormPost openPage(const std::string& authorizationUrl, const std::filesystem::path& authorityFile) {
    const auto page = exchange(Request(http::verb::get, "/", 11), authorizationUrl, authorityFile);
    std::string_view rest = page.body;
    const bool found = upTo("<form", rest).has_value();
    const auto form = found ? upTo("</form>", rest) : std::nullopt;
    if (!form) {
        throw std::runtime_error("no form, status " + std::to_string(page.status) + ": " +
                                 page.body);
    }
    rest = *form;
    FormPost post{attribute(upTo(">", rest).value_or(""), "action"), ""};
    while (upTo("<input", rest)) {
        const auto tag = upTo(">", rest).value_or("");
        post.body.append(post.body.empty() ? "" : "&")
            .append(formEncoded(attribute(tag, "name")))
            .append("=")
            .append(formEncoded(attribute(tag, "value")));
    }
    return post;
}

PageAnswer submit(const FormPost& form) {
    Request request(http::verb::post, "/", 11, form.body);
    request.set(http::field::content_type, "application/x-www-form-urlencoded");
    return exchange(std::move(request), form.action, {});
}

PageAnswer signIn(const std::string& authorizationUrl, const std::filesystem::path& authorityFile) {
    return submit(openPage(authorizationUrl, authorityFile));
}

}  // namespace auth::testing
