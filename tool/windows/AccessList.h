#pragma once

#include "host/standalone/windows/CurrentUser.h"

#include <filesystem>
#include <string>

namespace tool {

/// The security identifier of the user by whom this process runs, as text. Throws
/// std::system_error.
std::wstring userId();

/// For what only its user, the system and its administrators can open, whatever the folder above
/// would have it inherit. Throws std::system_error where the system knows no user.
class UserOnly {
public:
    UserOnly();

    /// As the functions that make files and folders take it.
    SECURITY_ATTRIBUTES* get() { return &m_attributes; }

private:
    standalone::detail::Local<void> m_descriptor;
    SECURITY_ATTRIBUTES m_attributes{};
};

}  // namespace tool
