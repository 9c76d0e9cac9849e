#include "platform/Browser.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace platform {
namespace {

constexpr std::string_view blanks = " \t\n";

std::vector<std::string> split(std::string_view text, std::string_view separators) {
    std::vector<std::string> parts;
    while (!text.empty()) {
        const auto length = std::min(text.find_first_of(separators), text.size());
        if (length > 0) {
            parts.emplace_back(text.substr(0, length));
        }
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return parts;
}

std::string_view variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

bool isWebUrl(std::string_view url) {
    const auto hasScheme = [&](std::string_view scheme) {
        return url.size() > scheme.size() &&
               std::equal(scheme.begin(), scheme.end(), url.begin(), [](char wanted, char found) {
                   return wanted == found || (found >= 'A' && found <= 'Z' && wanted == found + 32);
               });
    };
    // A program's argument ends at a zero byte, so the browser would get another URL.
    return (hasScheme("http:") || hasScheme("https:")) && url.find('\0') == std::string_view::npos;
}

/// One program to try, prepared before the fork: after the fork no memory can be allocated.
class Program {
public:
    Program(std::string_view command, const std::string& url) : m_words(split(command, blanks)) {
        bool hasUrl = false;
        for (auto& word : m_words) {
            word = expand(word, url, hasUrl);
        }
        if (!hasUrl) {
            m_words.push_back(url);
        }
        for (auto& word : m_words) {
            m_arguments.push_back(word.data());
        }
        m_arguments.push_back(nullptr);

        const std::string& name = m_words.front();
        if (name.find('/') != std::string::npos) {
            m_paths.emplace_back(name);
            return;
        }
        const auto path = variable("PATH");
        // Unlike a shell's, this search skips empty entries: nothing is started from the current
        // folder by accident.
        for (const auto& folder : split(path.empty() ? "/usr/bin:/bin" : path, ":")) {
            m_paths.push_back(std::filesystem::path(folder) / name);
        }
    }

    /// Returns only if nothing could be started.
    void become() const {
        for (const auto& path : m_paths) {
            ::execve(path.c_str(), m_arguments.data(), environ);
        }
    }

private:
    static std::string expand(std::string_view word, const std::string& url, bool& hasUrl) {
        std::string text;
        for (std::size_t at = 0; at < word.size(); ++at) {
            const auto two = word.substr(at, 2);
            if (two == "%s") {
                text += url;
                hasUrl = true;
            } else if (two == "%c" || two == "%%") {
                text += two == "%c" ? ':' : '%';
            } else {
                text += word[at];
                continue;
            }
            ++at;
        }
        return text;
    }

    std::vector<std::string> m_words;
    std::vector<char*> m_arguments;
    std::vector<std::filesystem::path> m_paths;
};

/// These know the default browser: the desktop's, that of Windows under WSL, Debian's, GNOME's.
constexpr std::array openers{"xdg-open", "wslview", "sensible-browser", "x-www-browser",
                             "gio open"};

/// The user's choice, otherwise the system's: the first one that exists is used.
std::vector<Program> programsFor(const std::string& url) {
    std::vector<Program> programs;
    for (const auto& command : split(variable("BROWSER"), ":")) {
        if (command.find_first_not_of(blanks) != std::string::npos) {
            programs.emplace_back(command, url);
        }
    }
    if (programs.empty()) {
        for (const char* const command : openers) {
            programs.emplace_back(command, url);
        }
    }
    return programs;
}

/// The browser inherits no open files and no ignored or blocked signals of this process, and gets
/// no keys pressed in our terminal.
bool detach() {
    for (int number = 1; number < NSIG; ++number) {
        (void)::signal(number, SIG_DFL);
    }
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    const int null = ::open("/dev/null", O_RDWR);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (null < 0 || ::dup2(null, standard) < 0) {
            return false;
        }
    }
    ::closefrom(STDERR_FILENO + 1);
    return ::setsid() >= 0;
}

/// Runs in a separate process, whose end leaves the browser to the system, so that nobody has to
/// wait for it. Like the browser's own process before exec it only makes async-signal-safe calls.
bool launch(const std::vector<Program>& programs) {
    std::array<int, 2> failure{};  // closed by exec, written if there is no exec
    if (!detach() || ::pipe2(failure.data(), O_CLOEXEC) != 0) {
        return false;
    }
    const pid_t browser = ::_Fork();
    if (browser == 0) {
        for (const auto& program : programs) {
            program.become();
        }
        (void)!::write(failure[1], "", 1);
        ::_exit(EXIT_FAILURE);
    }
    ::close(failure[1]);
    char byte = 0;
    return browser > 0 && ::read(failure[0], &byte, 1) == 0;
}

/// Shared by this process and those that it forks.
using SharedFlag = std::atomic<bool>;

auto makeSharedFlag() {
    const auto unmap = [](SharedFlag* flag) { ::munmap(flag, sizeof(SharedFlag)); };
    void* const memory = ::mmap(nullptr, sizeof(SharedFlag), PROT_READ | PROT_WRITE,
                                MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return std::unique_ptr<SharedFlag, decltype(unmap)>(
        memory == MAP_FAILED ? nullptr : new (memory) SharedFlag(false), unmap);
}

/// No signal handler of this process runs in the new one.
pid_t forkWithoutSignals() {
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t child = ::fork();
    if (child != 0) {
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
    return child;
}

}  // namespace

bool openBrowser(const utility::string_t& url) noexcept {
    try {
        if (!isWebUrl(url)) {
            return false;
        }
        const auto programs = programsFor(url);
        // The exit status is no use: a host that ignores or reaps its children leaves none to us.
        const auto started = makeSharedFlag();
        if (!started) {
            return false;
        }
        const pid_t launcher = forkWithoutSignals();
        if (launcher == 0) {
            *started = launch(programs);
            ::_exit(EXIT_SUCCESS);
        }
        while (launcher > 0 && ::waitpid(launcher, nullptr, 0) < 0 && errno == EINTR) {
        }
        return *started;
    } catch (...) {
        return false;
    }
}

}  // namespace platform
