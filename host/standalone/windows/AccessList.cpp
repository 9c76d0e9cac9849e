#include "host/standalone/windows/AccessList.h"

#include "host/standalone/windows/AccessRules.h"

#include <aclapi.h>

#include <string>

namespace fs = std::filesystem;

namespace standalone::detail {

namespace {

constexpr const char* noUser = "cannot determine the current user";

}  // namespace

PrivateSecurity::PrivateSecurity(const fs::path& path)
    : m_attributes{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE} {
    const std::wstring user = textOf(CurrentUser().get());
    if (user.empty()) {
        failSystem(path, noUser);
    }
    m_descriptor = securityFor(user);
    if (!m_descriptor) {
        failSystem(path, "its access list cannot be created");
    }
    m_attributes.lpSecurityDescriptor = m_descriptor.get();
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
    const CurrentUser user;
    if (user.get() == nullptr) {
        failSystem(path, noUser);
    }
    switch (exposureOf(descriptor, user.get())) {
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
