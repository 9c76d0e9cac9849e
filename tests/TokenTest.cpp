#include "tests/support/Test.h"
#include "tests/support/TestClock.h"
#include "tests/support/TokenRecord.h"
#include "tests/support/Wide.h"

#include <cpprest/asyncrt_utils.h>

namespace {

using namespace std::chrono_literals;
using test::recordWith;
using test::TokenRecord;

TEST(Token, ChecksScopes) {
    struct Case {
        std::vector<std::string> granted;
        const char* requested;
        bool isCovered;
    };
    for (const auto& [granted, requested, isCovered] : std::vector<Case>{
             {{}, "", true},
             {{}, "   ", true},
             {{}, "openid", false},
             {{"openid"}, "openid email", false},
             {{"email", "openid", "profile"}, " openid   email", true},
             {{"openid"}, "openid openid ", true},
             {{"openid"}, "openid  ", false},  // two spaces at the end give an empty scope
             {{"", "openid"}, "openid  ", true},
             {{"a\tb"}, "a b", false},
             {{"a\tb"}, "a\tb", true},
             {{"\xF0\x9F\x94\x91"}, "\xF0\x9F\x94\x91", true},
             {{"\xF0\x9F\x94\x91"}, "\xF0\x9F\x94\x92", false},
         }) {
        EXPECT_EQ(recordWith(granted).token().validateScopes(requested), isCovered)
            << '\'' << requested << '\'';
    }
    // In ordinal order.
    EXPECT_EQ(recordWith({"profile", "openid"}).token().scopes(), CString("openid profile"));
    EXPECT_EQ(recordWith({"a", "A", "a"}).token().scopes(), CString("A a"));
    EXPECT_EQ(recordWith({"openid", ""}).token().scopes(), CString(" openid"));
}

std::string jwtWith(const std::string& payload) {
    std::string text =
        test::to_utf8string(utility::conversions::to_base64({payload.begin(), payload.end()}));
    std::replace(text.begin(), text.end(), '+', '-');
    std::replace(text.begin(), text.end(), '/', '_');
    return "e30." + text.substr(0, text.find('=')) + ".c2ln";
}

TEST(Token, TellsTheClaimsOfItsIdToken) {
    TokenRecord record;
    record.idToken = jwtWith(R"({"sub":"s1","name":"\u00c4da >>>>?~?~?","preferred_username":"ada",
        "email":"a@b","n":1.5,"none":null,"yes":true,"list":["a",{"b":1}]})");
    const auto claims = record.token().idTokenClaims();
    EXPECT_EQ(claims.subject(), "s1");
    EXPECT_EQ(claims.name(), "\u00c4da >>>>?~?~?");
    EXPECT_EQ(claims.preferredUsername(), "ada");
    EXPECT_EQ(claims.email(), "a@b");
    for (const auto& [name, text] :
         std::map<std::string, std::optional<std::string>>{{"sub", "s1"},
                                                           {"n", "1.5"},
                                                           {"yes", "true"},
                                                           {"list", R"(["a",{"b":1}])"},
                                                           {"none", {}},
                                                           {"Sub", {}},
                                                           {"su", {}},
                                                           {"", {}}}) {
        EXPECT_EQ(claims.claim(name), text) << name;
    }
    EXPECT_EQ(auth::IdTokenClaims().subject(), std::nullopt);
    for (const std::string& idToken :
         std::vector<std::string>{"", "id", "e30." + jwtWith("{}").substr(4, 4), "e30.!!.c2ln",
                                  jwtWith("{"), jwtWith(R"(["sub"])"), jwtWith("null"),
                                  jwtWith(R"({"sub":5})"), jwtWith("{\"sub\":\"\xC3(\"}"),
                                  jwtWith(R"({"sub":null})"), jwtWith(std::string(100'000, '['))}) {
        record.idToken = idToken;
        EXPECT_EQ(record.token().idTokenClaims().subject(), std::nullopt) << idToken.substr(0, 50);
    }
    EXPECT_EQ(auth::IdTokenClaims(CString(std::basic_string<CString::XCHAR>(1, 0xD800))).subject(),
              std::nullopt);
    record.idToken = jwtWith("{\"x\":\"\xC3(\",\"sub\":\"s\"}");
    EXPECT_EQ(record.token().idTokenClaims().subject(),
              test::isWide ? std::nullopt : std::optional<std::string>("s"));
}

TEST(Token, ChecksTheClientExactly) {
    const auto token = TokenRecord().token();
    EXPECT_TRUE(token.validateClientID("client"));
    for (const auto& [name, edit] : test::nearMisses()) {
        EXPECT_FALSE(token.validateClientID(edit("client").c_str())) << name;
        EXPECT_EQ(recordWith({edit("openid")}).token().validateScopes("openid"), false) << name;
    }
}

TEST(Token, ExpiresWithALeadOfMinutes) {
    const auto now = std::chrono::system_clock::time_point(1'700'000'000s);
    constexpr auto tick = 100ns;
    struct Case {
        std::chrono::nanoseconds left;
        unsigned int lead;
        bool isExpired;
    };
    test::TestClock clock;
    clock.freezeAt(now);
    // A lead is treated as signed: the largest one means one minute in the past, not far in the
    // future.
    for (const auto& [left, lead, isExpired] :
         std::vector<Case>{{5min, 5, true},
                           {5min + tick, 5, false},
                           {tick, 0, false},
                           {0ns, 0, true},
                           {-1h, 0, true},
                           {-30s, std::numeric_limits<unsigned int>::max(), false},
                           {-1min, std::numeric_limits<unsigned int>::max(), true},
                           {1h, std::numeric_limits<int>::max(), true}}) {
        TokenRecord record;
        record.expiresAt = now + left;
        EXPECT_EQ(record.token().willBeExpiredAfter(lead), isExpired)
            << left.count() << " ns, " << lead << " min";
    }
}

TEST(Token, KeepsEveryMemberOnEveryWay) {
    TokenRecord record = recordWith({"a", "b"});
    record.expiresAt = std::chrono::system_clock::time_point(1'700'000'000s);
    const auto whole = record.bytes();
    record.scopes.clear();
    const auto withoutScopes = record.bytes();

    auto source = test::load(whole);
    const auto copy = source;
    auto assigned = recordWith({"other"}).token();
    assigned = source;
    EXPECT_EQ(test::store(source), whole);
    EXPECT_EQ(test::store(copy), whole);
    EXPECT_EQ(test::store(assigned), whole);
    EXPECT_EQ(copy.accessToken() + "|" + copy.refreshToken() + "|" + copy.idToken() + "|" +
                  copy.clientId(),
              CString("access|refresh|id|client"));
    // NOLINTBEGIN(bugprone-use-after-move): the moved-from state is promised
    auto target = std::move(source);
    EXPECT_EQ(test::store(target), whole);
    EXPECT_EQ(test::store(source), withoutScopes);
    auth::COIDCToken last;
    EXPECT_EQ(test::store(last), (TokenRecord{"", "", {}, "", {}, ""}.bytes()));
    EXPECT_TRUE(last.willBeExpiredAfter(0));
    last = std::move(target);
    EXPECT_EQ(test::store(last), whole);
    EXPECT_EQ(test::store(target), withoutScopes);
    // NOLINTEND(bugprone-use-after-move)
    auto& same = last;
    last = std::move(same);
    EXPECT_EQ(test::store(last), whole);
    auto loadedOver = recordWith({"other"}).token();
    CMemoryArchive archive(whole);
    loadedOver.Serialize(archive);
    EXPECT_EQ(test::store(loadedOver), whole);
}

TEST(TokenRecord, RoundTrips) {
    for (const std::size_t length : {std::size_t{0}, std::size_t{300}, std::size_t{70'000}}) {
        TokenRecord record = recordWith({"A", "a", "\xF0\x9F\x94\x91"});
        record.accessToken = std::string(length, 't');
        record.expiresAt = std::chrono::system_clock::time_point(1'700'000'000s + 700ns);
        EXPECT_EQ(test::store(record.token()), record.bytes());
        EXPECT_EQ(record.token().expiresAt(), record.expiresAt);
        record.fileVersion = 457;
        EXPECT_EQ(record.token().refreshToken(), CString("refresh"));
        EXPECT_TRUE(record.token().idToken().IsEmpty()) << "there was none in that version";
    }
}

TEST(TokenRecord, MayHoldAnyNumbers) {
    using Expiry = std::numeric_limits<std::int64_t>;
    const auto with = [](std::int64_t expiry, std::int32_t scopes) {
        CMemoryArchive storing;
        storing.startSection("OIDCToken", true);
        storing << CString("access") << CString("refresh");
        storing.archive() << expiry;
        storing << CString("client") << scopes << CString("id");
        storing.Close();
        return test::load(storing.detachCompressedData());
    };
    for (const unsigned int lead : {0U, 1U << 31U, (1U << 31U) - 1}) {
        EXPECT_TRUE(with(Expiry::min(), 0).willBeExpiredAfter(lead));
        EXPECT_FALSE(with(Expiry::max(), 0).willBeExpiredAfter(lead));
    }
    for (const std::int32_t count : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
        EXPECT_TRUE(with(0, count).scopes().IsEmpty());
        EXPECT_EQ(with(0, count).idToken(), CString("id"));
    }
}

TEST(TokenRecord, OfAnotherKindLeavesTheTokenAlone) {
    CMemoryArchive storing;
    storing.startSection("Window", true);
    storing << CString("content");
    storing.Close();
    CMemoryArchive loading(storing.detachCompressedData());
    auto token = TokenRecord().token();
    token.Serialize(loading);
    EXPECT_EQ(token.accessToken(), CString("access"));
}

/// It may be refused, but must not be read as another token than the stored one.
TEST(TokenRecord, IsRefusedWhenDamaged) {
    TokenRecord record = recordWith({"openid", "profile"});
    record.accessToken = "eyJhbGciOiJSUzI1NiIsImtpZCI6IjEifQ.eyJpc3MiOiJodHRwczovL2lkIn0.c2ln";
    const auto good = record.bytes();
    const auto check = [&](const std::vector<std::uint8_t>& bytes, std::size_t place) {
        try {
            EXPECT_EQ(test::store(test::load(bytes)), good) << place;
        } catch (const CArchiveException&) {  // NOLINT(bugprone-empty-catch): refused
        }
    };
    for (std::size_t length = 0; length < good.size(); ++length) {
        check({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length)}, length);
    }
    for (std::size_t bit = 0; bit < good.size() * 8; ++bit) {
        auto damaged = good;
        damaged[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
        check(damaged, bit);
    }
}

TEST(TokenRecord, EndingEarlyUnpackedIsRefused) {
    // The archive's checks do not detect a writer that stopped in the middle.
    CMemoryArchive whole;
    TokenRecord record = recordWith({"openid"});
    record.writeTo(whole);
    const auto content = whole.archive().bytes();
    class Part final : public CKorvaneArchive {
    public:
        explicit Part(std::vector<std::uint8_t> bytes) {
            replaceArchive(CArchive(std::move(bytes)));
        }
        int fileVersion() const override { return 458; }
    };
    for (std::size_t length = 0; length < content.size(); ++length) {
        Part part({content.begin(), content.begin() + static_cast<std::ptrdiff_t>(length)});
        auth::COIDCToken token;
        EXPECT_THROW(token.Serialize(part), CArchiveException) << length;
    }
}

}  // namespace
