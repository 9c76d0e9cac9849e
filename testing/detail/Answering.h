#pragma once

#include "testing/TestProvider.h"
#include "testing/detail/HttpServer.h"
#include "testing/detail/Text.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace auth::testing::detail {

/// A test's settings for the tokens of one kind.
struct TokenSettings {
    Changes header;
    Changes claims;
    std::optional<std::string> text;  // replaces the token
    std::optional<SigningKey> key;
};

struct PublishedKey {
    SigningKey key;
    Changes members;
};

/// A test's settings for one endpoint.
struct Settings {
    Changes members;
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
    std::array<TokenSettings, 3> tokens;            // by kind; for the endpoint that issues it
    std::optional<std::vector<PublishedKey>> keys;  // for the keys endpoint; without value: default
};

/// The intended answer, before any fault.
struct Content {
    unsigned status = 200;
    std::string body;
    Fields headers;
};

/// The bytes of that answer, with the faults in the settings.
Reply render(Content content, const Settings& settings, bool keepAlive);

}  // namespace auth::testing::detail
