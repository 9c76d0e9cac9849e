#include "tool/Terminal.h"

#include "tool/windows/Handle.h"
#include "tool/windows/Text.h"

#include <lmcons.h>

#include <array>

namespace tool {

namespace {

std::size_t widthOf(HANDLE console) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    return ::GetConsoleScreenBufferInfo(console, &info) != 0
               ? static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1)
               : 0;
}

/// Makes a console interpret the escape sequences for colours. The mode belongs to the console, not
/// to this process, so it is restored afterwards.
class Sequences {
public:
    explicit Sequences(HANDLE console) : m_console(console) {
        constexpr DWORD asked = ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING;
        m_areFollowed = ::GetConsoleMode(console, &m_before) != 0 &&
                        ::SetConsoleMode(console, m_before | asked) != 0;
    }
    ~Sequences() {
        if (m_areFollowed) {
            ::SetConsoleMode(m_console, m_before);
        }
    }
    Sequences(const Sequences&) = delete;
    Sequences& operator=(const Sequences&) = delete;

    bool areFollowed() const { return m_areFollowed; }

private:
    const HANDLE m_console;
    DWORD m_before = 0;
    bool m_areFollowed = false;
};

}  // namespace

bool isErrorTerminal() {
    return isConsole(::GetStdHandle(STD_ERROR_HANDLE));
}

OutputTerminal outputTerminal() {
    const HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
    static const Sequences sequences(output);
    return {widthOf(output), sequences.areFollowed()};
}

std::string userName() {
    std::array<wchar_t, UNLEN + 1> name{};
    auto size = static_cast<DWORD>(name.size());
    return ::GetUserNameW(name.data(), &size) != 0 ? utf8({name.data(), size - 1}) : "";
}

}  // namespace tool
