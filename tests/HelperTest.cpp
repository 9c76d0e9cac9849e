#include "tests/support/Application.h"

namespace {

using namespace test;
using ::testing::ElementsAre;

/// Requests for a service's tokens.
class Helper : public Applications {
protected:
    task<CString> ask(unsigned int minValidity = 0,
                      const cancellation_token& token = cancellation_token::none()) {
        return helper->getAccessTokenClientCredentialsAsync(provider.configUrl(), "client",
                                                            "secret", "a b", minValidity, token);
    }
    std::string requestedScope() const {
        return provider.requests(Endpoint::Token).back().field("scope");
    }

    const TokenRecord stored = recordWith({"a", "b", "c"}, 1h);
    const std::exception_ptr disk = std::make_exception_ptr(std::runtime_error("disk full"));
};

TEST_F(Helper, NeedsATokenStore) {
    for (const auto& logger :
         {CapturedLog::loggerTo(log), std::shared_ptr<LoggingUtilities::CLogger>()}) {
        EXPECT_EQ(outcome([&] { const COIDCHelper none(nullptr, permit, logger); }),
                  "token store should be specified");
    }
    EXPECT_THAT(log->lines(),
                ElementsAre("4 Unable to create authenticator helper. Token store not specified."));
}

TEST_F(Helper, GetsStoresAndReusesAToken) {
    provider.requireClient("client", "secret");
    const CString first = get(ask());
    EXPECT_EQ(content->writes, 1);
    EXPECT_EQ(load(content->bytes).accessToken(), first);
    EXPECT_EQ(load(content->bytes).clientId(), CString("client"));
    EXPECT_EQ(requestedScope(), "a b");
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
    EXPECT_EQ(requestedScope(), "a c");
}

TEST_F(Helper, TakesAStructAndGivesTheWholeToken) {
    using auth::ServiceRequest;
    provider.requireClient("cli\xC3\xA4nt", "secr\xC3\xA4t");
    ServiceRequest usual;
    usual.configUrl = provider.configUrl();
    usual.clientId = "cli\xC3\xA4nt";
    usual.clientSecret = "secr\xC3\xA4t";
    usual.scopes = "a b";
    using Form = std::function<CString(const ServiceRequest&, const cancellation_token&)>;
    const std::vector<Form> forms = {
        [&](const auto&... by) { return get(helper->getAccessTokenClientCredentialsAsync(by...)); },
        [&](const auto&... by) {
            return get(helper->getOIDCTokenClientCredentialsAsync(by...)).accessToken();
        },
        [&](const auto& by, const auto&) { return helper->getAccessTokenClientCredentials(by); },
        [&](const auto& by, const auto&) {
            return helper->getOIDCTokenClientCredentials(by).accessToken();
        }};
    for (const Form& form : forms) {
        const auto end = [&](const std::function<void(ServiceRequest&)>& change) {
            auto asked = usual;
            change(asked);
            return outcome([&] { form(asked, cancellation_token::none()); });
        };
        content->bytes.clear();
        const CString first = form(usual, cancellation_token::none());
        EXPECT_EQ(requestedScope(), "a b");
        EXPECT_EQ(form(usual, cancellation_token::none()), first);
        const COIDCToken whole = helper->getOIDCTokenClientCredentials(usual);
        EXPECT_EQ(whole.expiresAt(), load(content->bytes).expiresAt());
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
        for (const auto member : {&ServiceRequest::configUrl, &ServiceRequest::clientId,
                                  &ServiceRequest::clientSecret, &ServiceRequest::scopes}) {
            EXPECT_EQ(end([&](auto& asked) { asked.*member = "\xFF"; }).substr(0, 5), "UTF-8");
        }
        EXPECT_TRUE(content->rereadFlags.empty()) << "the store is not even read";
        const cancellation_token_source source;
        source.cancel();
        const bool isBlocking = &form > &forms[1];
        EXPECT_EQ(outcome([&] { form(usual, source.get_token()); }),
                  isBlocking ? "accepted" : "cancelled");
    }
}

TEST_F(Helper, KeepsWhatItReceivedThoughItIsCancelled) {
    const cancellation_token_source source;
    log->onLine([&source](const std::string& line) {
        if (line == "Token requested successfully.") {
            source.cancel();
        }
    });
    const CString received = get(ask(0, source.get_token()));
    EXPECT_EQ(load(content->bytes).accessToken(), received);
}

TEST_F(Helper, ReusesOnlyWhatServes) {
    struct Case {
        const char* name;
        std::function<void(TokenRecord&)> change;
        unsigned int minValidity = 0;
        bool isReused = false;
    };
    for (const Case& row : std::vector<Case>{
             {"as it is", [](auto&) {}, 0, true},
             {"within its life", [](auto&) {}, 59, true},
             {"not long enough", [](auto&) {}, 60},
             {"other client", [](auto& record) { record.clientId = "Client"; }},
             {"scope missing", [](auto& record) { record.scopes = {"a"}; }},
             {"expired", [](auto& record) { record.expiresAt -= 1h; }},
         }) {
        auto record = stored;
        row.change(record);
        content->bytes = record.bytes();
        const auto before = tokenRequests();
        EXPECT_EQ(get(ask(row.minValidity)) == CString("access"), row.isReused) << row.name;
        EXPECT_EQ(tokenRequests() - before, row.isReused ? 0U : 1U) << row.name;
    }
}

TEST_F(Helper, TakesAnUnreadableStoreForAnEmptyOneAndPassesOtherFailuresOn) {
    content->bytes = stored.bytes();
    content->bytes.back() ^= 1;
    EXPECT_NE(get(ask()), CString("access"));
    content->bytes = stored.bytes();
    content->readFailure = disk;
    EXPECT_NE(get(ask()), CString("access"));
    content->writeFailure = disk;
    EXPECT_EQ(outcome(ask()), "disk full");
    content->writeFailure = nullptr;
    EXPECT_EQ(outcome(ask()), "accepted");
    EXPECT_EQ(tokenRequests(), 4U);
}

TEST_F(Helper, NeedNotBeAskedForTheOutcome) {
    // An unobserved exception would end the process, even one from before any work.
    const auto unfit = makeHelper(nullptr);
    unfit->getAccessTokenHybridAsync(provider.configUrl(), "client", "a", {}, 0,
                                     cancellation_token::none(), false);
    provider.setStatus(Endpoint::Token, 500);
    ask();
    ASSERT_TRUE(provider.waitForRequests(Endpoint::Token, 1, patience));
    EXPECT_THROW(get(ask()), std::exception);  // queued after the first one
}

TEST_F(Helper, AsksOnceFor200RequestsAtOnce) {
    auto hold = provider.hold(Endpoint::Discovery);
    std::vector<task<CString>> tasks;
    tasks.reserve(200);
    for (int i = 0; i < 200; ++i) {
        tasks.push_back(ask());
    }
    hold.release();
    const CString first = get(tasks.front());
    for (const auto& task : tasks) {
        EXPECT_EQ(get(task), first);
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
        ASSERT_TRUE(provider.waitForRequests(waitsAt, before + 1, patience));
        std::vector<task<CString>> queued;
        queued.reserve(20);
        for (int i = 0; i < 20; ++i) {
            queued.push_back(ask(0, others.get_token()));
        }
        const auto received = provider.requests().size();
        others.cancel();  // the first request goes on; the provider still holds its answer
        for (const auto& task : queued) {
            EXPECT_EQ(outcome(task), "cancelled");
        }
        EXPECT_FALSE(first.is_done());
        source.cancel();
        EXPECT_EQ(outcome(first), "cancelled");
        EXPECT_EQ(provider.requests().size(), received) << "the queued ones asked nothing";
        EXPECT_EQ(content->writes, 0);
    }
    EXPECT_FALSE(get(ask()).IsEmpty()) << "the next request finds the mutex free";
}

/// A request that began before gets its token; the store only gets it if nobody was signed out.
TEST_F(Helper, SignsOutWhileARequestIsUnderWay) {
    for (const Endpoint waitsAt : {Endpoint::Discovery, Endpoint::Token}) {
        for (const auto& failure : {std::exception_ptr(), disk}) {
            auto record = stored;
            record.clientId = "other";
            content->bytes = record.bytes();
            auto hold = provider.hold(waitsAt);
            const auto requests = provider.requests(waitsAt).size();
            const auto request = ask();
            ASSERT_TRUE(provider.waitForRequests(waitsAt, requests + 1, patience));
            content->writeFailure = failure;
            EXPECT_EQ(outcome(helper->signOutAsync()), failure ? "disk full" : "accepted");
            content->writeFailure = nullptr;
            EXPECT_EQ(content->bytes, failure ? record.bytes() : std::vector<std::uint8_t>());
            hold.release();
            const CString received = get(request);
            EXPECT_EQ(content->bytes.empty(), !failure);
            EXPECT_EQ(get(ask()) == received, failure != nullptr);
            EXPECT_EQ(get(ask()), load(content->bytes).accessToken());
        }
    }
}

}  // namespace
