#pragma once

#include <boost/locale/encoding_utf.hpp>

#include <filesystem>
#include <string>

namespace standalone::detail {

inline std::string textOf(const std::string& native) {
    return native;
}

inline std::string textOf(const std::wstring& native) {
    return boost::locale::conv::utf_to_utf<char>(native);
}

/// The path for people to read. Unlike the functions of std::filesystem it never throws: UTF-16
/// paths need not be well-formed. The result is UTF-8 then.
inline std::string textOf(const std::filesystem::path& path) {
    return textOf(path.native());
}

}  // namespace standalone::detail
