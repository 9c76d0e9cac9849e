#pragma once

#include "host/standalone/windows/CurrentUser.h"

#include <filesystem>
#include <string>

namespace tool {

/// The security identifier of the user who runs this process, as text. Throws std::system_error.
std::wstring userId();

/// Security attributes for files that only their user, the system and its administrators can open,
/// whatever they would inherit from the folder. Throws std::system_error if the system knows no
/// user.
class UserOnly {
public:
    UserOnly();

    /// In the form that functions which create files and folders expect.
    SECURITY_ATTRIBUTES* get() { return &m_attributes; }

private:
    standalone::detail::Local<void> m_descriptor;
    SECURITY_ATTRIBUTES m_attributes{};
};

}  // namespace tool
