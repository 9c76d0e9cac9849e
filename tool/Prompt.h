#pragma once

#include "host/CString.h"
#include "tool/Countdown.h"

#include <atomic>
#include <optional>
#include <string>

namespace tool {

/// Shows the user where to sign in, and how much time is left.
class Prompt {
public:
    explicit Prompt(bool opensBrowser) : m_opensBrowser(opensBrowser) {}

    void show(const CString& url);
    bool wasShown() const { return m_shown; }

private:
    bool openBrowser(const CString& url) const;

    const bool m_opensBrowser;
    std::atomic<bool> m_shown{false};
    std::optional<Countdown> m_countdown;
};

}  // namespace tool
