#include "host/CLogger.h"

#include <iostream>
#include <string_view>
#include <utility>

namespace LoggingUtilities {

CLogger::CLogger(std::string name) : m_name(std::move(name)) {}

void CLogger::write(ELogLevel level, const wchar_t* format,
                    const std::vector<std::string>& args) const {
    // A line at this level may have a refresh token. A program that keeps such lines must remove
    // it.
    if (level < ELogLevel::Warning) {
        return;
    }
    std::string line = m_name + ": ";
    auto arg = args.begin();
    const std::string form = CString(format).toUtf8();
    for (std::size_t at = 0; at < form.size(); ++at) {
        if (form[at] != '%') {
            line += form[at];
            continue;
        }
        at = form.find_first_of("sdiuxX%", at + 1);
        if (at == std::string::npos || form[at] == '%') {
            line += '%';
        } else if (arg != args.end()) {
            line += *arg++;
        }
        if (at == std::string::npos) {
            break;
        }
    }
    std::cerr << line + '\n';
}

}  // namespace LoggingUtilities
