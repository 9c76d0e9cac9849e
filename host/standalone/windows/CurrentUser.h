#pragma once

#include "host/standalone/windows/Local.h"

#include <sddl.h>

#include <array>
#include <string>

namespace standalone::detail {

// In a header, because the command needs it, too. After a failure GetLastError() has the reason.

/// The user for whom this thread works: a service may work for its client.
class CurrentUser {
public:
    CurrentUser() {
        DWORD size = 0;
        m_isKnown =
            ::GetTokenInformation(::GetCurrentThreadEffectiveToken(), TokenUser, m_bytes.data(),
                                  static_cast<DWORD>(m_bytes.size()), &size) != 0;
    }

    /// Null if the system does not tell.
    PSID get() const {
        return m_isKnown ? reinterpret_cast<const TOKEN_USER*>(m_bytes.data())->User.Sid : nullptr;
    }

private:
    alignas(
        TOKEN_USER) std::array<unsigned char, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> m_bytes{};
    bool m_isKnown;
};

/// A security identifier as text; empty if it is not one.
inline std::wstring textOf(PSID id) {
    wchar_t* text = nullptr;
    return ::ConvertSidToStringSidW(id, &text) != 0 ? Local<wchar_t>(text).get() : std::wstring();
}

/// A security descriptor that gives access to this user, the system and its administrators, who
/// could give themselves access anyway. It inherits nothing; files and folders created below
/// inherit the same. Null if it cannot be created.
inline Local<void> securityFor(const std::wstring& user) {
    const std::wstring list =
        L"O:" + user + L"D:P(A;OICI;FA;;;" + user + L")(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";
    void* descriptor = nullptr;
    ::ConvertStringSecurityDescriptorToSecurityDescriptorW(list.c_str(), SDDL_REVISION_1,
                                                           &descriptor, nullptr);
    return Local<void>(descriptor);
}

}  // namespace standalone::detail
