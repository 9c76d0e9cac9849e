#pragma once

#include "testing/TestProvider.h"
#include "testing/detail/HttpServer.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace auth::testing::detail {

/// What a test has set for one endpoint.
struct Settings {
    std::map<std::string, std::optional<std::string>> members;  // JSON; without value: removed
    std::optional<std::string> document;
    std::optional<unsigned> status;
    Fields headers;  // with an empty value: left out
    std::chrono::milliseconds headPace{0};
    std::chrono::milliseconds bodyPace{0};
    bool silent = false;
    std::optional<std::uint64_t> bodyCut;
    std::optional<std::pair<CloseAt, CloseBy>> close;
    std::optional<std::string> garbage;
    std::uint64_t minimalBody = 0;
    Framing framing = Framing::ContentLength;
    bool closeAfterAnswer = false;
    std::optional<unsigned> answersLeft;
};

/// An answer as it is meant, before any fault.
struct Content {
    unsigned status = 200;
    std::string body;
    Fields headers;
};

/// The bytes of that answer with the faults of the settings.
Reply render(Content content, const Settings& settings, bool keepAlive);

}  // namespace auth::testing::detail
