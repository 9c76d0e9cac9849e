#include "host/standalone/windows/AccessRules.h"
#include "tests/support/Common.h"

#include <gtest/gtest.h>
#include <sddl.h>

using standalone::detail::Exposure;

namespace {

struct Release {
    void operator()(void* memory) const { ::LocalFree(memory); }
};
using Memory = std::unique_ptr<void, Release>;

Exposure exposureOf(const std::string& text) {
    void* user = nullptr;
    void* descriptor = nullptr;
    EXPECT_NE(::ConvertStringSidToSidA("S-1-5-21-1-2-3-1001", &user), 0);
    const Memory ownUser(user);
    EXPECT_NE(::ConvertStringSecurityDescriptorToSecurityDescriptorA(text.c_str(), SDDL_REVISION_1,
                                                                     &descriptor, nullptr),
              0);
    const Memory ownDescriptor(descriptor);
    return standalone::detail::exposureOf(descriptor, user);
}

/// With lists that are more detailed than file modes; some systems keep nothing but modes of a
/// list.
TEST(AccessRules, TellWhoElseHasAccess) {
    const std::string me = "S-1-5-21-1-2-3-1001";
    const std::string own = "O:" + me + "D:P(A;;FA;;;" + me + ")(A;;FA;;;SY)(A;OICI;FA;;;BA)";
    for (const auto& [text, exposure] : std::vector<std::pair<std::string, Exposure>>{
             {own, Exposure::none},
             {"O:BAD:(A;;FA;;;" + me + ")", Exposure::none},
             {"O:SYD:AI(A;ID;FR;;;OW)", Exposure::none},
             {"O:" + me + "D:P", Exposure::none},
             {own + "(A;OICIIO;FA;;;WD)", Exposure::none},
             {own + "(D;;FA;;;WD)", Exposure::none},
             {"O:" + me + "1D:(A;;FA;;;" + me + ")", Exposure::otherOwner},
             {"O:S-1-5-21-1-2-3-100D:(A;;FA;;;" + me + ")", Exposure::otherOwner},
             {"O:BUD:P", Exposure::otherOwner},
             {"O:OWD:P", Exposure::otherOwner},
             {"D:P(A;;FA;;;" + me + ")", Exposure::otherOwner},
             {"O:" + me, Exposure::openToOthers},
             {own + "(A;;FR;;;WD)", Exposure::openToOthers},
             {own + "(A;OICI;0x1;;;AU)", Exposure::openToOthers},
             {own + "(A;;WD;;;BU)", Exposure::openToOthers},
             {own + "(A;;FA;;;" + me + "1)", Exposure::openToOthers},
             {own + "(D;;FA;;;BU)(A;;FX;;;LS)(A;;FA;;;BA)", Exposure::openToOthers},
         }) {
        EXPECT_EQ(exposureOf(text), exposure) << text;
    }
}

/// Nobody evaluates their conditions here.
TEST(AccessRules, TrustOnlyPlainEntries) {
    alignas(ACL) std::array<unsigned char, 128> bytes{};
    auto* const list = reinterpret_cast<ACL*>(bytes.data());
    std::array<unsigned char, SECURITY_MAX_SID_SIZE> user{};
    DWORD size = user.size();
    SECURITY_DESCRIPTOR descriptor{};
    ASSERT_NE(::CreateWellKnownSid(WinLocalSystemSid, nullptr, user.data(), &size), 0);
    ASSERT_NE(::InitializeAcl(list, bytes.size(), ACL_REVISION), 0);
    ASSERT_NE(::AddAccessAllowedAce(list, ACL_REVISION, FILE_ALL_ACCESS, user.data()), 0);
    ::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    ::SetSecurityDescriptorOwner(&descriptor, user.data(), FALSE);
    ::SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE);
    const auto exposure = [&] { return standalone::detail::exposureOf(&descriptor, user.data()); };
    EXPECT_EQ(exposure(), Exposure::none);
    void* entry = nullptr;
    ASSERT_NE(::GetAce(list, 0, &entry), 0);
    static_cast<ACE_HEADER*>(entry)->AceType = ACCESS_ALLOWED_CALLBACK_ACE_TYPE;
    EXPECT_EQ(exposure(), Exposure::openToOthers);
    ::SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE);
    EXPECT_EQ(exposure(), Exposure::openToOthers);
}

}  // namespace
