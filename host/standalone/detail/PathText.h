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

/// For people. Unlike those of std::filesystem it never throws: where paths are UTF-16 they need
/// not be well-formed, and there it is UTF-8.
inline std::string textOf(const std::filesystem::path& path) {
    return textOf(path.native());
}

}  // namespace standalone::detail
