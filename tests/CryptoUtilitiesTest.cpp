#include "host/CCryptoUtilities.h"
#include "tests/support/Test.h"

namespace {

constexpr auto sha256 = IHashFunction::Algorithm::SHA256;
constexpr auto unknown = static_cast<IHashFunction::Algorithm>(2);

TEST(CryptoUtilities, RefusesWhatItCannotDo) {
    std::vector<std::uint8_t> tooSmall(31);
    EXPECT_FALSE(CCryptoUtilities::calcChecksum(sha256, "abc", 3, tooSmall));
    std::vector<std::uint8_t> digest(32);
    EXPECT_EQ(CCryptoUtilities::getDigestSize(unknown), 0U);
    EXPECT_FALSE(CCryptoUtilities::calcChecksum(unknown, "abc", 3, digest));
}

}  // namespace
