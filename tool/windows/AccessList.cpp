#include "tool/windows/AccessList.h"

#include <sddl.h>

#include <vector>

namespace tool {

namespace {

constexpr const char* noUser = "the system does not tell whose process this is";

}  // namespace

std::wstring userId() {
    HANDLE opened = nullptr;
    if (::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &opened) == 0) {
        failSystem(noUser);
    }
    const Handle token(opened);
    DWORD size = 0;
    ::GetTokenInformation(token.get(), TokenUser, nullptr, 0, &size);
    std::vector<unsigned char> room(size);
    if (::GetTokenInformation(token.get(), TokenUser, room.data(), size, &size) == 0) {
        failSystem(noUser);
    }
    wchar_t* text = nullptr;
    if (::ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(room.data())->User.Sid,
                                 &text) == 0) {
        failSystem(noUser);
    }
    return Local<wchar_t>(text).get();
}

UserOnly::UserOnly() {
    // Protected; all rights, also in what comes to lie below a folder.
    const std::wstring user = userId();
    const std::wstring list =
        L"O:" + user + L"D:P(A;OICI;FA;;;" + user + L")(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";
    void* descriptor = nullptr;
    if (::ConvertStringSecurityDescriptorToSecurityDescriptorW(list.c_str(), SDDL_REVISION_1,
                                                               &descriptor, nullptr) == 0) {
        failSystem("cannot make an access list");
    }
    m_descriptor.reset(descriptor);
    m_attributes.nLength = sizeof m_attributes;
    m_attributes.lpSecurityDescriptor = descriptor;
}

}  // namespace tool
