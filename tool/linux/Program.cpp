#include "tool/Program.h"

#include "tool/Descriptors.h"
#include "tool/ExitCode.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <system_error>

namespace tool {

namespace {

std::set<int> openDescriptors() {
    constexpr const char* place = "/proc/self/fd";
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(place), ::closedir);
    if (!listing) {
        throw std::system_error(errno, std::generic_category(), place);
    }
    std::set<int> open;
    while (const dirent* const entry = ::readdir(listing.get())) {
        const std::string_view name = static_cast<const char*>(entry->d_name);
        int number = 0;
        const auto parsed = std::from_chars(name.data(), name.data() + name.size(), number);
        if (parsed.ec == std::errc() && number != ::dirfd(listing.get())) {
            open.insert(number);
        }
    }
    return open;
}

bool isIgnored(int number) {
    struct sigaction action {};
    return ::sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

/// With the null pointer that the system expects at the end.
std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// This process's environment with the changes.
std::vector<std::string> environmentWith(const Program::Changes& changes) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        if (changes.count(text.substr(0, text.find('='))) == 0) {
            variables.push_back(text);
        }
    }
    for (const auto& [name, value] : changes) {
        if (value) {
            variables.push_back(name + '=' + *value);
        }
    }
    return variables;
}

/// The arguments and environment in the form that the system expects.
class Image {
public:
    Image(std::vector<std::string> command, const Program::Changes& changes)
        : m_command(std::move(command)), m_variables(environmentWith(changes)) {}

    /// Returns only if the program cannot be started.
    void take() const { ::execvpe(m_arguments.front(), m_arguments.data(), m_values.data()); }

private:
    std::vector<std::string> m_command;
    std::vector<std::string> m_variables;
    const std::vector<char*> m_arguments = pointersTo(m_command);
    const std::vector<char*> m_values = pointersTo(m_variables);
};

/// The program's process number, or the error if it could not be started.
struct Started {
    pid_t number;
    int error;
};

Started start(const Image& image, void (*childSignal)(int)) {
    std::array<int, 2> failure{};  // closed by exec, written if there is no exec
    if (::pipe2(failure.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot start the program");
    }
    const pid_t program = ::fork();
    if (program == 0) {  // from here on no memory may be allocated
        (void)std::signal(SIGCHLD, childSignal);
        image.take();
        const int error = errno;
        (void)!::write(failure.back(), &error, sizeof error);
        ::_exit(EXIT_FAILURE);
    }
    int error = program < 0 ? errno : 0;
    ::close(failure.back());
    (void)!::read(failure.front(), &error, sizeof error);
    ::close(failure.front());
    if (error != 0) {
        ::waitpid(program, nullptr, 0);
    }
    return {program, error};
}

constexpr std::array relayed{SIGHUP,  SIGINT,  SIGQUIT,  SIGTERM, SIGUSR1,
                             SIGUSR2, SIGALRM, SIGWINCH, SIGTSTP, SIGCONT};
static_assert(std::atomic<pid_t>::is_always_lock_free &&
              std::atomic<std::uint64_t>::is_always_lock_free);
std::atomic<pid_t> receiver{0};         // while the program runs
std::atomic<std::uint64_t> waiting{0};  // a bit for each signal not yet passed on

void deliver(int number) {
    const std::uint64_t bit = std::uint64_t{1} << static_cast<unsigned>(number);
    const pid_t program = receiver;
    if (program != 0 && (waiting.fetch_and(~bit) & bit) != 0) {
        ::kill(program, number);
    }
}

extern "C" void relaySignal(int number, siginfo_t* info, void* /*context*/) {
    // A value above 0 means the kernel: the terminal has sent the signal to the program as well.
    if (info->si_code <= 0) {
        const int error = errno;
        waiting.fetch_or(std::uint64_t{1} << static_cast<unsigned>(number));
        deliver(number);
        errno = error;
    }
}

void startRelayTo(pid_t program) {
    receiver = program;
    for (const int number : relayed) {
        deliver(number);
    }
}

/// Waits until the program has stopped or ended. Its number is not reused until it is reaped.
void awaitChangeOf(pid_t program) {
    siginfo_t change{};
    while (::waitid(P_PID, static_cast<id_t>(program), &change, WEXITED | WSTOPPED | WNOWAIT) !=
           0) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "cannot wait for the program");
        }
    }
    if (change.si_code != CLD_STOPPED) {
        receiver = 0;
    }
}

bool isByTerminal(int stopSignal) {
    return stopSignal == SIGTSTP || stopSignal == SIGTTIN || stopSignal == SIGTTOU;
}

}  // namespace

Inheritance::Inheritance() : m_descriptors(openDescriptors()) {
    for (const int number : {SIGINT, SIGTERM}) {  // a request for a token handles them
        if (isIgnored(number)) {
            m_ignoredSignals.insert(number);
        }
    }
}

void Inheritance::restore() const {
    for (const int descriptor : openDescriptors()) {
        if (m_descriptors.count(descriptor) == 0) {
            ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
        }
    }
    for (const int number : m_ignoredSignals) {
        (void)std::signal(number, SIG_IGN);
    }
    restoreInherited();
}

struct SignalRelay::State {
    // The action for SIGCHLD to restore for the program. If it is to ignore the signal, this
    // process would not learn of the program's end.
    void (*childSignalBefore)(int);
};

SignalRelay::SignalRelay()
    : m_state(std::make_unique<State>(State{std::signal(SIGCHLD, SIG_DFL)})) {
    for (const int number : relayed) {
        if (!isIgnored(number)) {
            struct sigaction action {};
            action.sa_sigaction = relaySignal;
            action.sa_flags = SA_SIGINFO | SA_RESTART;
            ::sigaction(number, &action, nullptr);
        }
    }
}

SignalRelay::~SignalRelay() {
    for (const int number : relayed) {
        if (!isIgnored(number)) {
            (void)std::signal(number, SIG_DFL);
        }
    }
}

void Program::become() const {
    Image(m_command, m_changes).take();
    fail(errno);
}

int Program::run(const SignalRelay& relay) const {
    const auto [program, error] =
        start(Image(m_command, m_changes), relay.m_state->childSignalBefore);
    if (error != 0) {
        fail(error);
    }
    startRelayTo(program);
    for (;;) {
        awaitChangeOf(program);
        int status = 0;
        ::waitpid(program, &status, WUNTRACED);
        if (!WIFSTOPPED(status)) {
            return status;
        }
        if (isByTerminal(WSTOPSIG(status))) {
            (void)::raise(SIGSTOP);  // the shell waits for this process
        }
    }
}

void Program::fail(int error) const {
    const bool isMissing = error == ENOENT || error == ENOTDIR;
    throw ProgramError(isMissing ? ExitCode::ProgramNotFound : ExitCode::ProgramNotExecutable,
                       m_command.front() + ": " + std::generic_category().message(error));
}

void endLike(int status) {
    if (WIFEXITED(status)) {
        std::exit(WEXITSTATUS(status));
    }
    const int number = WTERMSIG(status);
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);  // keeps a core file of the program
    (void)std::signal(number, SIG_DFL);
    sigset_t one;
    ::sigemptyset(&one);
    ::sigaddset(&one, number);
    ::pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
    (void)::raise(number);
    constexpr int signalBase = 128;  // as in shells
    std::exit(signalBase + number);
}

}  // namespace tool
