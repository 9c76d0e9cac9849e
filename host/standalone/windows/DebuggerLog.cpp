#include "host/standalone/windows/DebuggerLog.h"

#include "host/standalone/detail/LogLine.h"

#include <boost/locale/encoding_utf.hpp>
#include <windows.h>

namespace standalone {

void DebuggerLog::write(LoggingUtilities::ELogLevel level, const CString& line) {
    if (level < m_minimum) {
        return;
    }
    const auto text = "oidcauth " + detail::lineOf(level, line) + "\n";
    ::OutputDebugStringW(boost::locale::conv::utf_to_utf<wchar_t>(text).c_str());
}

}  // namespace standalone
