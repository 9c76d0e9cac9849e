#pragma once

#include "host/standalone/windows/Local.h"

#include <sddl.h>

#include <array>
#include <string>

namespace standalone::detail {

// In a header, since the command needs it as well. After a failure GetLastError() says why.

/// The user for whom this thread works, as a service may for its client.
class CurrentUser {
public:
    CurrentUser() {
        DWORD size = 0;
        m_isKnown = ::GetTokenInformation(::GetCurrentThreadEffectiveToken(), TokenUser,
                                          m_bytes.data(), static_cast<DWORD>(m_bytes.size()),
                                          &size) != 0;
    }

    /// Null where the system does not tell.
    PSID get() const {
        return m_isKnown ? reinterpret_cast<const TOKEN_USER*>(m_bytes.data())->User.Sid : nullptr;
    }

private:
    alignas(
        TOKEN_USER) std::array<unsigned char, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> m_bytes{};
    bool m_isKnown;
};

/// A security identifier as text; empty where it is none.
inline std::wstring textOf(PSID id) {
    wchar_t* text = nullptr;
    return ::ConvertSidToStringSidW(id, &text) != 0 ? Local<wchar_t>(text).get() : std::wstring();
}

/// The security of what is open to this user, to the system and to its administrators, who could
/// open it to themselves anyway. It inherits nothing, and what lies below inherits the same. Null
/// where it cannot be made.
inline Local<void> securityFor(const std::wstring& user) {
    const std::wstring list =
        L"O:" + user + L"D:P(A;OICI;FA;;;" + user + L")(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";
    void* descriptor = nullptr;
    ::ConvertStringSecurityDescriptorToSecurityDescriptorW(list.c_str(), SDDL_REVISION_1,
                                                           &descriptor, nullptr);
    return Local<void>(descriptor);
}

}  // namespace standalone::detail
