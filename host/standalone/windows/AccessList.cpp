#include "host/standalone/windows/AccessList.h"

#include "host/standalone/windows/AccessRules.h"

#include <aclapi.h>
#include <sddl.h>

#include <array>
#include <string>

namespace fs = std::filesystem;

namespace standalone::detail {

namespace {

/// For whom this thread works, as a service may for its client.
class User {
public:
    explicit User(const fs::path& path) {
        DWORD size = 0;
        if (::GetTokenInformation(::GetCurrentThreadEffectiveToken(), TokenUser, m_bytes.data(),
                                  static_cast<DWORD>(m_bytes.size()), &size) == 0) {
            failSystem(path, "its user cannot be told");
        }
    }

    PSID get() const { return reinterpret_cast<const TOKEN_USER*>(m_bytes.data())->User.Sid; }

private:
    alignas(
        TOKEN_USER) std::array<unsigned char, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> m_bytes{};
};

}  // namespace

PrivateSecurity::PrivateSecurity(const fs::path& path)
    : m_attributes{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE} {
    const User user(path);
    wchar_t* text = nullptr;
    if (::ConvertSidToStringSidW(user.get(), &text) == 0) {
        failSystem(path, "its user cannot be told");
    }
    const Local<wchar_t> sid(text);
    const std::wstring list = L"O:" + std::wstring(sid.get()) + L"D:P(A;OICI;FA;;;" + sid.get() +
                              L")(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";
    void* descriptor = nullptr;
    if (::ConvertStringSecurityDescriptorToSecurityDescriptorW(list.c_str(), SDDL_REVISION_1,
                                                               &descriptor, nullptr) == 0) {
        failSystem(path, "its access list cannot be made");
    }
    m_descriptor.reset(descriptor);
    m_attributes.lpSecurityDescriptor = descriptor;
}

void requirePrivate(const Descriptor& opened, const fs::path& path) {
    void* descriptor = nullptr;
    const DWORD error = ::GetSecurityInfo(handleOf(opened), SE_FILE_OBJECT,
                                          OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                                          nullptr, nullptr, nullptr, nullptr, &descriptor);
    if (error != ERROR_SUCCESS) {
        failSystem(path, "cannot be examined", static_cast<int>(error));
    }
    const Local<void> kept(descriptor);
    switch (exposureOf(descriptor, User(path).get())) {
        case Exposure::none:
            break;
        case Exposure::otherOwner:
            refuse(path, "belongs to another user; use a path of your own");
        case Exposure::openToOthers:
            refuseOpenToOthers(path,
                               "leave only yourself, SYSTEM and Administrators in its permissions");
    }
}

}  // namespace standalone::detail
