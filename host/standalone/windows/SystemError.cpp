#include "host/standalone/detail/SystemError.h"

#include <boost/locale/encoding_utf.hpp>
#include <windows.h>

#include <array>
#include <string_view>

namespace standalone::detail {

int lastError() noexcept {
    return static_cast<int>(::GetLastError());
}

std::string textOfError(int error) {
    std::array<wchar_t, 512> text{};
    const DWORD size = ::FormatMessageW(
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
        nullptr, static_cast<DWORD>(error), 0, text.data(), static_cast<DWORD>(text.size()),
        nullptr);
    std::wstring_view line(text.data(), size);
    while (!line.empty() && (line.back() == L' ' || line.back() == L'.')) {
        line.remove_suffix(1);
    }
    return line.empty()
               ? "error " + std::to_string(error)
               : boost::locale::conv::utf_to_utf<char>(line.data(), line.data() + line.size());
}

}  // namespace standalone::detail
