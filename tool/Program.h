#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tool {

/// What a process has been given by the one that started it: descriptors that are open, signals
/// that are ignored.
class Inheritance {
public:
    /// To be made before anything is opened. Throws std::system_error where the system does not
    /// tell.
    Inheritance();

    /// From here on this, and nothing else, is what a program inherits that is started.
    void restore() const;

private:
    std::set<int> m_descriptors;
    std::set<int> m_ignoredSignals;
};

/// While it lives, signals that somebody sends to this process are for the program that it starts:
/// to end it, and those by which programs tell each other something. What the terminal sends goes
/// to both by itself.
class SignalRelay {
public:
    SignalRelay();
    ~SignalRelay();
    SignalRelay(const SignalRelay&) = delete;
    SignalRelay& operator=(const SignalRelay&) = delete;

private:
    friend class Program;

    // For the program: while it is ignored, this process would not learn of the program's end.
    void (*m_childSignalBefore)(int);
};

/// A program with its arguments, and an environment that differs from this process's.
class Program {
public:
    explicit Program(std::vector<std::string> command) : m_command(std::move(command)) {}

    void set(const std::string& name, const std::string& value) { m_changes[name] = value; }
    void unset(const std::string& name) { m_changes[name] = std::nullopt; }

    // These throw ProgramError where it cannot be started.

    /// Runs it in the place of this process.
    [[noreturn]] void become() const;
    /// Runs it to its end, stopping with it where the terminal stops it. Gives what endLike takes.
    int run(const SignalRelay& relay) const;

private:
    std::vector<std::string> environment() const;
    pid_t start(const SignalRelay& relay) const;
    [[noreturn]] void fail(int error) const;

    std::vector<std::string> m_command;
    std::map<std::string, std::optional<std::string>> m_changes;  // by name; none: taken away
};

/// Ends this process as that program has ended: with its exit code, or by the same signal.
[[noreturn]] void endLike(int status);

}  // namespace tool
