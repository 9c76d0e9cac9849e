#include "host/CCryptoUtilities.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

constexpr auto sha256 = IHashFunction::Algorithm::SHA256;
constexpr auto unknown = static_cast<IHashFunction::Algorithm>(2);

TEST(CryptoUtilities, HashesWithSha256) {
    std::vector<std::uint8_t> digest(CCryptoUtilities::getDigestSize(sha256));
    ASSERT_TRUE(CCryptoUtilities::calcChecksum(sha256, "abc", 3, digest));
    // The example of FIPS 180.
    const std::vector<std::uint8_t> expected = {0xba, 0x78, 0x16, 0xbf, 0x8f, 0x01, 0xcf, 0xea,
                                                0x41, 0x41, 0x40, 0xde, 0x5d, 0xae, 0x22, 0x23,
                                                0xb0, 0x03, 0x61, 0xa3, 0x96, 0x17, 0x7a, 0x9c,
                                                0xb4, 0x10, 0xff, 0x61, 0xf2, 0x00, 0x15, 0xad};
    EXPECT_EQ(digest, expected);
}

TEST(CryptoUtilities, RefusesWhatItCannotDo) {
    std::vector<std::uint8_t> tooSmall(31);
    EXPECT_FALSE(CCryptoUtilities::calcChecksum(sha256, "abc", 3, tooSmall));
    std::vector<std::uint8_t> digest(32);
    EXPECT_EQ(CCryptoUtilities::getDigestSize(unknown), 0U);
    EXPECT_FALSE(CCryptoUtilities::calcChecksum(unknown, "abc", 3, digest));
}

}  // namespace
