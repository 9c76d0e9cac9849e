#include "tests/support/Application.h"
#include "tests/support/TestHost.h"

namespace {

using namespace test;

/// A service at a provider whose authority the user trusts, or at another one. The system's client
/// reads the trusted authorities once, so each test needs its own process.
class Tls : public Applications {
protected:
    std::string end(const TestProvider& asked, const TestProvider& trusted) {
        const HostSettings host(usualTimeout, trusted.authorityFile());
        return outcome(helper->getAccessTokenClientCredentialsAsync(
            asked.configUrl(), "client", "secret", "openid", 0, cancellation_token::none()));
    }

    TestProvider valid{{true, "", ServerCertificate::Valid}};
};

// Wine refuses the first one, too, for the reason in tests/wine.list: there these three tests only
// fail if nothing is checked at all.
const std::string refusal = "12157";

TEST_F(Tls, ServesWithATrustedAuthority) {
    EXPECT_EQ(end(valid, valid), "accepted");
}

TEST_F(Tls, RefusesAnUnknownAuthority) {
    const TestProvider other({true, "", ServerCertificate::Valid});
    EXPECT_THAT(end(valid, other), ::testing::HasSubstr(refusal));
    EXPECT_TRUE(valid.requests().empty());
}

TEST_F(Tls, RefusesACertificateThatIsOver) {
    const TestProvider expired({true, "", ServerCertificate::Expired});
    EXPECT_THAT(end(expired, expired), ::testing::HasSubstr(refusal));
    EXPECT_TRUE(expired.requests().empty());
}

TEST_F(Tls, RefusesACertificateOfAnotherHost) {
    const TestProvider other({true, "", ServerCertificate::OtherHost});
    EXPECT_THAT(end(other, other), ::testing::HasSubstr(refusal));
    EXPECT_TRUE(other.requests().empty());
}

}  // namespace
