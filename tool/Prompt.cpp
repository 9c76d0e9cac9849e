#include "tool/Prompt.h"

#include "auth/COIDCHelper.h"
#include "tool/ProviderChecks.h"
#include "tool/SignInMark.h"
#include "tool/Terminal.h"
#include "tool/Tunnel.h"

#include <iostream>
#include <stdexcept>

namespace tool {

void Prompt::show(const CString& url) {
    const std::string text = url.toUtf8();
    if (!isHttp(text)) {
        throw std::runtime_error(
            "the provider's authorization_endpoint is not an http or https URL");
    }
    m_shown = true;
    std::cerr << "To sign in, open this page:\n" << text << std::endl;
    const bool isOpen = openBrowser(url);
    if (!isOpen || isReachedBySsh()) {
        if (const auto command = tunnelCommand(text)) {
            std::cerr
                << "If your browser is on another machine, first run there, in a second terminal:\n"
                << *command << '\n';
        }
    }
    if (isErrorTerminal()) {
        std::cerr << "If the page shows an error, press Ctrl-C: the error is not reported here.\n";
    }
    m_countdown.emplace("the sign-in in the browser", signInLimit);
}

bool Prompt::openBrowser(const CString& url) const {
    if (!m_opensBrowser) {
        return false;
    }
    const bool isOpen = auth::COIDCHelper::openBrowser(url);
    if (!isOpen) {
        std::cerr << "oidcauth: no browser could be started; open the page yourself\n";
    }
    return isOpen;
}

}  // namespace tool
