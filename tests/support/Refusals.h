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

/// The head of a request as it has to be: the fields sent stand in the order of their names.
inline std::string headOf(const TestProvider& provider, const std::string& line,
                          const std::string& fields = {}) {
    return line + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(provider.port()) + "\r\n" +
           fields + "User-Agent:cpprestsdk/" + std::to_string(CPPREST_VERSION_MAJOR) + '.' +
           std::to_string(CPPREST_VERSION_MINOR) + '.' + std::to_string(CPPREST_VERSION_REVISION) +
           "\r\nConnection: Keep-Alive\r\n\r\n";
}
inline std::string formFields(const std::string& body) {
    return "Content-Length:" + std::to_string(body.size()) +
           "\r\nContent-Type:application/x-www-form-urlencoded\r\n";
}

/// What a provider does wrong, and what comes of it.
struct Refusal {
    std::string name;
    Arrange arrange;
    std::string text;         // part of the exception's text
    std::string logged = {};  // the lines at level 4
};

/// Refused as told, whether there is a log or not; nothing is asked behind so many requests.
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
