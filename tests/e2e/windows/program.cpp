// Is run by the command, or runs it: the first argument selects the action.

#include <windows.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr DWORD longest = 20'000;  // after that a test has failed
const HANDLE asked = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);

void print(const std::wstring& text) {
    std::string utf8(text.size() * 3, '\0');
    const int size =
        ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), utf8.data(),
                              static_cast<int>(utf8.size()), nullptr, nullptr);
    DWORD written = 0;
    ::WriteFile(::GetStdHandle(STD_OUTPUT_HANDLE), utf8.data(), static_cast<DWORD>(size), &written,
                nullptr);
}

/// Runs the words with an inheritable handle, whose number is the last word.
int passHandle(const std::vector<std::wstring>& words) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    HANDLE handle = nullptr;
    while (reinterpret_cast<std::uintptr_t>(handle) < 0x4000) {  // no other process has that many
        handle = ::CreateEventW(&inherited, TRUE, FALSE, nullptr);
    }
    std::wstring line;
    for (const std::wstring& word : words) {
        line += word + L' ';
    }
    line += std::to_wstring(reinterpret_cast<std::uintptr_t>(handle));
    STARTUPINFOW info{};
    info.cb = sizeof info;
    PROCESS_INFORMATION made{};
    if (::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &info,
                         &made) == 0) {
        return 1;
    }
    ::WaitForSingleObject(made.hProcess, longest);
    DWORD code = 1;
    ::GetExitCodeProcess(made.hProcess, &code);
    return static_cast<int>(code);
}

bool isHandle(const std::wstring& number) {
    DWORD flags = 0;
    return ::GetHandleInformation(reinterpret_cast<HANDLE>(std::stoull(number)), &flags) != 0;
}

int awaitCtrlC() {
    const auto heard = [](DWORD) -> BOOL { return ::SetEvent(asked); };
    ::SetConsoleCtrlHandler(heard, TRUE);
    print(L"ready\n");
    ::WaitForSingleObject(asked, longest);
    print(L"asked\n");
    return 5;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    const std::wstring task = arguments[1];
    const std::vector<std::wstring> words(arguments + 2, arguments + count);
    if (task == L"show") {
        for (const std::wstring& word : words) {
            print(L"[" + word + L"]");
        }
    } else if (task == L"variables") {
        for (const std::wstring& word : words) {
            const wchar_t* const value = _wgetenv(word.c_str());
            print(word +
                  (value == nullptr ? L" is not set\n" : L"=" + std::wstring(value) + L'\n'));
        }
    } else if (task == L"with-handle") {
        return passHandle(words);
    } else if (task == L"has-handle") {
        return isHandle(words.back()) ? 1 : 0;
    } else if (task == L"wait") {
        return awaitCtrlC();
    } else {
        return static_cast<int>(std::stoul(task));
    }
    return 0;
}
