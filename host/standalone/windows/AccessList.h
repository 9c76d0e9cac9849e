#pragma once

#include "host/standalone/windows/CurrentUser.h"
#include "host/standalone/windows/Handle.h"

#include <windows.h>

#include <filesystem>

namespace standalone::detail {

/// The security of what is made, as securityFor() has it.
class PrivateSecurity {
public:
    /// `path` for messages.
    explicit PrivateSecurity(const std::filesystem::path& path);

    SECURITY_ATTRIBUTES* get() noexcept { return &m_attributes; }

private:
    Local<void> m_descriptor;
    SECURITY_ATTRIBUTES m_attributes;
};

/// Refuses what belongs to others than those, or is open to others in any way. Looks at what was
/// opened and not at the path, which may name something else by now.
void requirePrivate(const Descriptor& opened, const std::filesystem::path& path);

}  // namespace standalone::detail
