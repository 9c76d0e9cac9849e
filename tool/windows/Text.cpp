#include "tool/windows/Text.h"

#include <windows.h>

namespace tool {

std::string utf8(std::wstring_view text) {
    const auto convert = [text](char* room, int size) {
        return ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), room,
                                     size, nullptr, nullptr);
    };
    std::string converted(static_cast<std::size_t>(convert(nullptr, 0)), '\0');
    convert(converted.data(), static_cast<int>(converted.size()));
    return converted;
}

std::wstring wide(std::string_view text) {
    const auto convert = [text](wchar_t* room, int size) {
        return ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), room,
                                     size);
    };
    std::wstring converted(static_cast<std::size_t>(convert(nullptr, 0)), L'\0');
    convert(converted.data(), static_cast<int>(converted.size()));
    return converted;
}

}  // namespace tool
