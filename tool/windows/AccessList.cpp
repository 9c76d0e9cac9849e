#include "tool/windows/AccessList.h"

#include "tool/windows/Handle.h"

namespace tool {

std::wstring userId() {
    const std::wstring user = standalone::detail::textOf(standalone::detail::CurrentUser().get());
    if (user.empty()) {
        failSystem("cannot determine the user of this process");
    }
    return user;
}

UserOnly::UserOnly() : m_descriptor(standalone::detail::securityFor(userId())) {
    if (!m_descriptor) {
        failSystem("cannot create an access list");
    }
    m_attributes.nLength = sizeof m_attributes;
    m_attributes.lpSecurityDescriptor = m_descriptor.get();
}

}  // namespace tool
