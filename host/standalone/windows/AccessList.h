#pragma once

#include "host/standalone/windows/CurrentUser.h"
#include "host/standalone/windows/Handle.h"

#include <windows.h>

#include <filesystem>

namespace standalone::detail {

/// The security attributes of new files and folders, as in securityFor().
class PrivateSecurity {
public:
    /// `path` is for messages.
    explicit PrivateSecurity(const std::filesystem::path& path);

    SECURITY_ATTRIBUTES* get() noexcept { return &m_attributes; }

private:
    Local<void> m_descriptor;
    SECURITY_ATTRIBUTES m_attributes;
};

/// Refuses a file or folder that belongs to others, or is open to them in any way: to anybody but
/// the user, the system and its administrators. Examines the open file and not the path, which may
/// by now name something else.
void requirePrivate(const Descriptor& opened, const std::filesystem::path& path);

}  // namespace standalone::detail
