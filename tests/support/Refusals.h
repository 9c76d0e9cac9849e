#pragma once

#include "tests/support/HybridFlow.h"
#include "tests/support/Test.h"

#include <cpprest/version.h>

namespace test {

using auth::testing::Endpoint;
using auth::testing::TestProvider;
using auth::testing::TokenKind;
using Arrange = std::function<void(TestProvider&)>;

inline Arrange member(Endpoint at, const std::string& name, const std::string& json) {
    return [=](TestProvider& provider) { provider.setMember(at, name, json); };
}
inline Arrange noMember(Endpoint at, const std::string& name) {
    return [=](TestProvider& provider) { provider.removeMember(at, name); };
}
inline Arrange claim(TokenKind kind, const std::string& name, const std::string& json) {
    return [=](TestProvider& provider) { provider.setClaim(kind, name, json); };
}
inline Arrange noClaim(TokenKind kind, const std::string& name) {
    return [=](TestProvider& provider) { provider.removeClaim(kind, name); };
}
inline Arrange header(TokenKind kind, const std::string& name, const std::string& json) {
    return [=](TestProvider& provider) { provider.setTokenHeader(kind, name, json); };
}

inline Arrange both(const Arrange& one, const Arrange& other) {
    return [=](TestProvider& provider) {
        one(provider);
        other(provider);
    };
}

/// The lines that a request's head must have.
inline std::multiset<std::string> headOf(const TestProvider& provider, const std::string& line,
                                         const std::vector<std::string>& fields = {}) {
    std::multiset<std::string> head(fields.begin(), fields.end());
    head.insert({line + " HTTP/1.1", "Host: 127.0.0.1:" + std::to_string(provider.port()),
                 "User-Agent: cpprestsdk/" + std::to_string(CPPREST_VERSION_MAJOR) + '.' +
                     std::to_string(CPPREST_VERSION_MINOR) + '.' +
                     std::to_string(CPPREST_VERSION_REVISION),
                 "Connection: Keep-Alive"});
    return head;
}
inline std::vector<std::string> formFields(const std::string& body) {
    return {"Content-Length: " + std::to_string(body.size()),
            "Content-Type: application/x-www-form-urlencoded"};
}
/// Each system's client has its own order, and not all write a blank after the colon.
inline std::multiset<std::string> linesOf(const std::string& request) {
    std::multiset<std::string> lines;
    std::istringstream head(request);
    for (std::string line; std::getline(head, line) && line != "\r";) {
        line.pop_back();
        const auto colon = line.find(':');
        if (colon < line.find(' ') && line.compare(colon, 2, ": ") != 0) {
            line.insert(colon + 1, 1, ' ');
        }
        lines.insert(line);
    }
    return lines;
}

/// A provider's error, and its result.
struct Refusal {
    std::string name;
    Arrange arrange;
    std::string text;         // a part of the exception's text
    std::string logged = {};  // the lines at level 4
};

/// Expects these refusals, with and without a log, and nothing else after that many requests.
inline void expectRefusals(
    const std::vector<Refusal>& rows, std::size_t requests,
    const std::function<void(TestProvider&, const auth::detail::LoggerPtr&)>& request) {
    TestProvider provider;
    for (const Refusal& row : rows) {
        SCOPED_TRACE(row.name);
        for (const bool logs : {true, false}) {
            provider.reset();
            row.arrange(provider);
            const auto before = provider.requests().size();
            const auto log = std::make_shared<CapturedLog>();
            const auto logger = logs ? CapturedLog::loggerTo(log) : nullptr;
            const std::string end = outcome([&] { request(provider, logger); });
            EXPECT_NE(end, "accepted");
            EXPECT_THAT(end, ::testing::HasSubstr(row.text));
            EXPECT_EQ(log->textAt(4), logs ? row.logged : "");
            EXPECT_EQ(provider.requests().size() - before, requests);
        }
    }
}

}  // namespace test
