#include "tool/windows/CommandLine.h"

#include "tool/Environment.h"
#include "tool/windows/Text.h"

#include <windows.h>

#include <algorithm>
#include <array>

namespace tool {

namespace {

/// Backslashes are literal, except before a quotation mark.
std::wstring quoted(const std::wstring& word) {
    if (!word.empty() && word.find_first_of(L" \t\n\v\"") == std::wstring::npos) {
        return word;
    }
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t character : word) {
        if (character == L'"') {
            text.append(backslashes + 1, L'\\');
        }
        backslashes = character == L'\\' ? backslashes + 1 : 0;
        text += character;
    }
    return text.append(backslashes, L'\\') + L'"';
}

bool isFile(const std::wstring& path) {
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

/// The absolute path, without the points and blanks at the end of a name, which the system ignores.
std::wstring fullPath(const std::wstring& path) {
    std::wstring whole(::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    whole.resize(
        ::GetFullPathNameW(path.c_str(), static_cast<DWORD>(whole.size()), whole.data(), nullptr));
    return whole;
}

/// A file with this name, or with the name plus a known extension.
std::wstring fileOf(const std::wstring& name) {
    const bool hasExtension = name.find(L'.', name.find_last_of(L"\\/") + 1) != std::wstring::npos;
    if (hasExtension && isFile(name)) {
        return fullPath(name);
    }
    for (const wchar_t* const extension : {L".com", L".exe", L".bat", L".cmd"}) {
        if (isFile(name + extension)) {
            return fullPath(name + extension);
        }
    }
    return isFile(name) ? fullPath(name) : L"";
}

}  // namespace

std::wstring commandLine(const std::vector<std::string>& words) {
    std::wstring line;
    for (const std::string& word : words) {
        line += (line.empty() ? L"" : L" ") + quoted(wide(word));
    }
    return line;
}

std::wstring findProgram(const std::string& name) {
    const std::wstring program = wide(name);
    if (program.find_first_of(L"\\/:") != std::wstring::npos) {
        return fileOf(program);
    }
    const std::wstring path = wide(variable("PATH"));
    for (std::size_t begin = 0; begin <= path.size();) {
        const std::size_t end = std::min(path.find(L';', begin), path.size());
        std::wstring folder = path.substr(begin, end - begin);
        folder.erase(std::remove(folder.begin(), folder.end(), L'"'), folder.end());
        begin = end + 1;
        // A path that is not absolute would be below the current folder.
        const bool isAbsolute = folder.find(L":\\") == 1 || folder.rfind(L"\\\\", 0) == 0;
        const std::wstring found = isAbsolute ? fileOf(folder + L'\\' + program) : L"";
        if (!found.empty()) {
            return found;
        }
    }
    return L"";
}

bool isBatchFile(const std::wstring& file) {
    const auto endsWith = [&file](const wchar_t* extension) {
        constexpr std::size_t length = 4;
        return file.size() >= length &&
               ::CompareStringOrdinal(file.c_str() + file.size() - length, length, extension,
                                      length, TRUE) == CSTR_EQUAL;
    };
    return endsWith(L".bat") || endsWith(L".cmd");
}

}  // namespace tool
