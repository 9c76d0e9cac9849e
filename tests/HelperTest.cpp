#include "testing/TestProvider.h"
#include "tests/support/Application.h"
#include "tests/support/Outcome.h"
#include "tests/support/Test.h"
#include "tests/support/TestClock.h"
#include "tests/support/TokenRecord.h"

namespace {

using namespace std::chrono_literals;
using auth::COIDCHelper;
using namespace auth::testing;
using auth::COIDCToken;
using Concurrency::cancellation_token;
using Concurrency::cancellation_token_source;
using ::testing::ElementsAre;

/// An application at a provider of its own.
class Helper : public ::testing::Test, protected test::Application {
protected:
    void TearDown() override { helper.reset(); }

    Concurrency::task<CString> ask(unsigned int minValidity = 0,
                                   const cancellation_token& token = cancellation_token::none()) {
        return helper->getAccessTokenClientCredentialsAsync(provider.configUrl(), "client",
                                                            "secret", "a b", minValidity, token);
    }

    test::TokenRecord storedRecord() {
        test::TokenRecord record;
        record.scopes = {"a", "b", "c"};
        record.expiresAt = std::chrono::system_clock::now() + 10min;
        return record;
    }

    std::size_t tokenRequests() const { return provider.requests(Endpoint::Token).size(); }

    TestProvider provider;
};

TEST_F(Helper, NeedsATokenStore) {
    for (const auto& logger :
         {test::CapturedLog::loggerTo(log), std::shared_ptr<LoggingUtilities::CLogger>()}) {
        EXPECT_EQ(test::outcome([&] { const COIDCHelper none(nullptr, permit, logger); }),
                  "token store should be specified");
    }
    EXPECT_THAT(log->lines(),
                ElementsAre("4 Unable to create authenticator helper. Token store not specified."));
}

TEST_F(Helper, GetsStoresAndReusesAToken) {
    provider.requireClient("client", "secret");
    const CString first = test::get(ask());
    EXPECT_EQ(content->writes, 1);
    EXPECT_EQ(test::load(content->bytes).accessToken(), first);
    EXPECT_EQ(test::load(content->bytes).clientId(), CString("client"));
    EXPECT_EQ(provider.requests(Endpoint::Token).back().field("scope"), "a b");
    EXPECT_EQ(
        helper->getAccessTokenClientCredentials(provider.configUrl(), "client", "secret", "b", 59),
        first);
    EXPECT_EQ(tokenRequests(), 1U);
    EXPECT_EQ(content->rereadFlags, (std::vector<bool>{false, false}));
    const std::string url = provider.configUrl();
    const std::string asked =
        "1 Obtaining oidc token using config url = " + url + ", client id = client, scopes = ";
    EXPECT_THAT(
        log->lines(),
        ElementsAre(asked + "a b", "2 Stored token is invalid or expired or does not exists.",
                    "2 Requesting client authentication using config url = " + url +
                        ", clientID = client, scopes = a b.",
                    "2 Receiving and validating OIDC configuration...",
                    "2 OIDC configuration received and validated successfully.",
                    "2 Requesting token...", "2 Token requested successfully.",
                    "2 Client authentication performed successfully, token received.",
                    asked + "b"));
    EXPECT_NE(helper->getAccessTokenClientCredentials(url.c_str(), "client", "secret", "a c", 60),
              first);
    EXPECT_EQ(provider.requests(Endpoint::Token).back().field("scope"), "a c");
}

TEST_F(Helper, TakesAStructAndGivesTheWholeToken) {
    provider.requireClient("cli\xC3\xA4nt", "secr\xC3\xA4t");
    auth::ServiceRequest usual;
    usual.configUrl = provider.configUrl();
    usual.clientId = "cli\xC3\xA4nt";
    usual.clientSecret = "secr\xC3\xA4t";
    usual.scopes = "a b";
    using Form = std::function<CString(const auth::ServiceRequest&, const cancellation_token&)>;
    const std::vector<Form> forms = {
        [&](const auto& asked, const auto& token) {
            return test::get(helper->getAccessTokenClientCredentialsAsync(asked, token));
        },
        [&](const auto& asked, const auto& token) {
            return test::get(helper->getOIDCTokenClientCredentialsAsync(asked, token))
                .accessToken();
        },
        [&](const auto& asked, const auto&) {
            return helper->getAccessTokenClientCredentials(asked);
        },
        [&](const auto& asked, const auto&) {
            return helper->getOIDCTokenClientCredentials(asked).accessToken();
        }};
    for (const Form& form : forms) {
        const bool isBlocking = &form > &forms[1];
        const auto end = [&](const std::function<void(auth::ServiceRequest&)>& change) {
            auto asked = usual;
            change(asked);
            return test::outcome([&] { return form(asked, cancellation_token::none()), true; });
        };
        content->bytes.clear();
        const CString first = form(usual, cancellation_token::none());
        EXPECT_EQ(provider.requests(Endpoint::Token).back().field("scope"), "a b");
        EXPECT_EQ(form(usual, cancellation_token::none()), first);
        const COIDCToken whole = helper->getOIDCTokenClientCredentials(usual);
        EXPECT_EQ(whole.expiresAt(), test::load(content->bytes).expiresAt());
        EXPECT_EQ(whole.scopes(), CString("a b"));
        const auto before = tokenRequests();
        EXPECT_EQ(end([](auto& asked) { asked.minValidity = 61min; }), "accepted");
        EXPECT_EQ(end([](auto& asked) { asked.scopes = "c"; }), "accepted");
        EXPECT_EQ(tokenRequests(), before + 2);
        EXPECT_EQ(end([](auto& asked) { asked.clientId = "client"; }), "unable to retrieve token");
        content->bytes.clear();
        EXPECT_EQ(end([](auto& asked) { asked.clientSecret = "s"; }), "unable to retrieve token");
        EXPECT_NE(end([](auto& asked) { asked.configUrl += '2'; }), "accepted");
        content->rereadFlags.clear();
        EXPECT_EQ(end([](auto& asked) { asked.minValidity = -1min; }),
                  "minimum validity should be between 0 and 2147483647 minutes");
        for (const auto member :
             {&auth::ServiceRequest::configUrl, &auth::ServiceRequest::clientId,
              &auth::ServiceRequest::clientSecret, &auth::ServiceRequest::scopes}) {
            EXPECT_EQ(end([&](auto& asked) { asked.*member = "\xFF"; }).substr(0, 5), "UTF-8");
        }
        EXPECT_TRUE(content->rereadFlags.empty()) << "the store is not even read";
        const cancellation_token_source source;
        source.cancel();
        if (!isBlocking) {
            EXPECT_THROW(form(usual, source.get_token()), Concurrency::task_canceled);
        }
    }
}

TEST_F(Helper, KeepsWhatItReceivedThoughItIsCancelled) {
    const cancellation_token_source source;
    log->onLine([&source](const std::string& line) {
        if (line == "Token requested successfully.") {
            source.cancel();
        }
    });
    const CString received = test::get(ask(0, source.get_token()));
    EXPECT_EQ(test::load(content->bytes).accessToken(), received);
}

TEST_F(Helper, ReusesOnlyWhatServes) {
    struct Case {
        const char* name;
        std::function<void(test::TokenRecord&)> change;
        unsigned int minValidity;
        bool reused;
    };
    const std::vector<Case> cases = {
        {"as it is", [](auto&) {}, 0, true},
        {"within its life", [](auto&) {}, 9, true},
        {"not long enough", [](auto&) {}, 10, false},
        {"other client", [](auto& record) { record.clientId = "Client"; }, 0, false},
        {"scope missing", [](auto& record) { record.scopes = {"a"}; }, 0, false},
        {"expired", [](auto& record) { record.expiresAt -= 1h; }, 0, false},
    };
    for (const Case& row : cases) {
        auto record = storedRecord();
        row.change(record);
        content->bytes = record.bytes();
        const auto before = tokenRequests();
        EXPECT_EQ(test::get(ask(row.minValidity)) == CString("access"), row.reused) << row.name;
        EXPECT_EQ(tokenRequests() - before, row.reused ? 0U : 1U) << row.name;
    }
}

TEST_F(Helper, TakesAnUnreadableStoreForAnEmptyOne) {
    content->bytes = storedRecord().bytes();
    content->bytes.back() ^= 1;
    EXPECT_NE(test::get(ask()), CString("access"));
    content->bytes = storedRecord().bytes();
    content->readFailure = std::make_exception_ptr(std::runtime_error("disk"));
    EXPECT_NE(test::get(ask()), CString("access"));
    EXPECT_EQ(tokenRequests(), 2U);
}

TEST_F(Helper, PassesFailuresOfTheStoreOn) {
    content->writeFailure = std::make_exception_ptr(std::runtime_error("disk full"));
    EXPECT_EQ(test::outcome(ask()), "disk full");
    content->writeFailure = nullptr;
    EXPECT_NO_THROW(test::get(ask()));
}

TEST_F(Helper, NeedNotBeAskedForTheOutcome) {
    // An exception that nobody observes would end the process, also one of before any work.
    const auto unfit = makeHelper(nullptr);
    unfit->getAccessTokenHybridAsync(provider.configUrl(), "client", "a", {}, 0,
                                     cancellation_token::none(), false);
    provider.setStatus(Endpoint::Token, 500);
    ask();
    ASSERT_TRUE(provider.waitForRequests(Endpoint::Token, 1, test::patience));
    EXPECT_THROW(test::get(ask()), std::exception);  // after the first one: they queue
}

TEST_F(Helper, AsksOnceFor200RequestsAtOnce) {
    auto hold = provider.hold(Endpoint::Discovery);
    std::vector<Concurrency::task<CString>> tasks;
    tasks.reserve(200);
    for (int i = 0; i < 200; ++i) {
        tasks.push_back(ask());
    }
    hold.release();
    const CString first = test::get(tasks.front());
    for (const auto& task : tasks) {
        EXPECT_EQ(test::get(task), first);
    }
    EXPECT_EQ(tokenRequests(), 1U);
}

TEST_F(Helper, EndsAtOnceWhenCancelled) {
    for (const Endpoint waitsAt : {Endpoint::Discovery, Endpoint::Token}) {
        const auto hold = provider.hold(waitsAt);
        const auto before = provider.requests(waitsAt).size();
        const cancellation_token_source source;
        const cancellation_token_source others;
        const auto first = ask(0, source.get_token());
        ASSERT_TRUE(provider.waitForRequests(waitsAt, before + 1, test::patience));
        std::vector<Concurrency::task<CString>> queued;
        queued.reserve(20);
        for (int i = 0; i < 20; ++i) {
            queued.push_back(ask(0, others.get_token()));
        }
        const auto received = provider.requests().size();
        others.cancel();  // the first one goes on, and the provider still holds its answer
        for (const auto& task : queued) {
            EXPECT_THROW(test::get(task), Concurrency::task_canceled);
        }
        EXPECT_FALSE(first.is_done());
        source.cancel();
        EXPECT_THROW(test::get(first), Concurrency::task_canceled);
        EXPECT_EQ(provider.requests().size(), received) << "the queued ones asked nothing";
        EXPECT_EQ(content->writes, 0);
    }
    EXPECT_FALSE(test::get(ask()).IsEmpty()) << "the next request finds the mutex free";
}

/// A request that began before gets its token; the store gets it only if nobody was signed out.
TEST_F(Helper, SignsOutWhileARequestIsUnderWay) {
    for (const Endpoint waitsAt : {Endpoint::Discovery, Endpoint::Token}) {
        for (const std::string failure : {"", "disk full"}) {
            auto record = storedRecord();
            record.clientId = "other";
            const auto before = content->bytes = record.bytes();
            auto hold = provider.hold(waitsAt);
            const auto requests = provider.requests(waitsAt).size();
            const auto request = ask();
            ASSERT_TRUE(provider.waitForRequests(waitsAt, requests + 1, test::patience));
            if (!failure.empty()) {
                content->writeFailure = std::make_exception_ptr(std::runtime_error(failure));
            }
            const auto signedOut = helper->signOutAsync(cancellation_token::none());
            EXPECT_EQ(test::outcome(signedOut), failure.empty() ? "accepted" : failure);
            content->writeFailure = nullptr;
            EXPECT_EQ(content->bytes, failure.empty() ? std::vector<std::uint8_t>() : before);
            hold.release();
            const CString received = test::get(request);
            if (failure.empty()) {
                EXPECT_TRUE(content->bytes.empty());
                EXPECT_NE(test::get(ask()), received);
            }
            EXPECT_EQ(test::get(ask()), test::load(content->bytes).accessToken());
        }
    }
}

}  // namespace
