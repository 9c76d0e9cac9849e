#pragma once

#include "platform/RedirectServer.h"
#include "tests/support/LocalPort.h"
#include "tests/support/Outcome.h"
#include "tests/support/RawPeer.h"
#include "tests/support/Test.h"
#include "tests/support/Wide.h"

namespace test {

using platform::RedirectAnswer;
using platform::RedirectServer;

constexpr auto* anyRequest = "GET / HTTP/1.1\r\n\r\n";

inline unsigned short freePort() {
    return portOf(freeRedirectUrl());
}

inline std::string urlOf(const std::string& host, unsigned short port) {
    return "http://" + host + ':' + std::to_string(port) + "/callback";
}

inline RedirectAnswer answerAll() {
    return {200, "text/plain", "!", {}};
}

/// Answers every request as the test wants.
class Handler final : public platform::RedirectHandler {
public:
    using Answer = std::function<RedirectAnswer()>;

    explicit Handler(Answer answer) : m_answer(std::move(answer)) {}

    std::optional<RedirectAnswer> judgeHead(const std::string& /*method*/,
                                            const std::string& /*target*/) override {
        return std::nullopt;
    }
    RedirectAnswer answer(const platform::RedirectRequest& /*request*/) override {
        return m_answer();
    }
    RedirectAnswer answerLostBody(const std::string& /*reason*/) override { return m_answer(); }
    RedirectAnswer answerNoRequest() override { return m_answer(); }

private:
    Answer m_answer;
};

/// A server with its handler, on a port that was free.
struct Served {
    explicit Served(Handler::Answer answer = answerAll, const std::string& host = "127.0.0.1")
        : handler(std::move(answer)) {
        server.emplace(to_string_t(urlOf(host, port)), handler);
    }

    Handler handler;
    const unsigned short port = freePort();
    std::optional<RedirectServer> server;
};

/// The error of listening there.
inline std::string failure(const std::string& url) {
    Handler handler(answerAll);
    return outcome([&] { const RedirectServer server(to_string_t(url), handler); });
}

}  // namespace test
