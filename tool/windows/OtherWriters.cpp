#include "tool/OtherWriters.h"

#include "tool/windows/AccessList.h"
#include "tool/windows/Handle.h"

#include <aclapi.h>

#include <algorithm>
#include <array>

namespace tool {

namespace {

/// Rights to change its content, or its permissions.
constexpr DWORD writing = FILE_WRITE_DATA | FILE_APPEND_DATA | DELETE | WRITE_DAC | WRITE_OWNER |
                          GENERIC_WRITE | GENERIC_ALL;

/// Whether the entry lets somebody write who is neither this user nor somebody with full access
/// anyway.
bool letsOthersWrite(const ACE_HEADER& entry) {
    const bool allows = entry.AceType == ACCESS_ALLOWED_ACE_TYPE ||
                        entry.AceType == ACCESS_ALLOWED_CALLBACK_ACE_TYPE;
    const auto& allowed = reinterpret_cast<const ACCESS_ALLOWED_ACE&>(entry);
    if (!allows || (entry.AceFlags & INHERIT_ONLY_ACE) != 0 || (allowed.Mask & writing) == 0) {
        return false;
    }
    const std::wstring id = standalone::detail::textOf(const_cast<DWORD*>(&allowed.SidStart));
    // The system, its administrators, and the owner as such.
    const std::array<std::wstring, 4> trusted{userId(), L"S-1-5-18", L"S-1-5-32-544", L"S-1-3-4"};
    return std::find(trusted.begin(), trusted.end(), id) == trusted.end();
}

}  // namespace

std::optional<std::string> remedyForOtherWriters(const std::filesystem::path& file) {
    ACL* list = nullptr;
    void* descriptor = nullptr;
    const DWORD error =
        ::GetNamedSecurityInfoW(file.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                nullptr, &list, nullptr, &descriptor);
    if (error != ERROR_SUCCESS) {
        failSystem("its access list cannot be read", error);
    }
    const standalone::detail::Local<void> owned(descriptor);
    bool canWrite = list == nullptr;  // without a list everybody can
    for (DWORD i = 0; !canWrite && i < list->AceCount; ++i) {
        void* entry = nullptr;
        canWrite = ::GetAce(list, i, &entry) == 0 ||
                   letsOthersWrite(*static_cast<const ACE_HEADER*>(entry));
    }
    if (!canWrite) {
        return std::nullopt;
    }
    return "remove their permission: icacls FILE /reset, then icacls FILE /inheritance:r /grant:r "
           "\"%USERNAME%:F\"";
}

}  // namespace tool
