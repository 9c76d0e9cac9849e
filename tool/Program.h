#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tool {

/// What a process has been given by the one that started it: descriptors that are open, signals
/// that are ignored. On Windows nothing but the standard streams goes on to a program.
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
/// to both by itself; on Windows nothing else comes, and this process waits for the program's end.
class SignalRelay {
public:
    SignalRelay();
    ~SignalRelay();
    SignalRelay(const SignalRelay&) = delete;
    SignalRelay& operator=(const SignalRelay&) = delete;

private:
    friend class Program;
    struct State;

    std::unique_ptr<State> m_state;
};

/// A program with its arguments, and an environment that differs from this process's.
class Program {
public:
    /// By name; none: taken away.
    using Changes = std::map<std::string, std::optional<std::string>>;

    explicit Program(std::vector<std::string> command) : m_command(std::move(command)) {}

    void set(const std::string& name, const std::string& value) { m_changes[name] = value; }
    void unset(const std::string& name) { m_changes[name] = std::nullopt; }

    // These throw ProgramError where it cannot be started.

    /// Runs it in the place of this process. On Windows, where there is no such thing, it ends with
    /// this process, and this one with its exit code.
    [[noreturn]] void become() const;
    /// Runs it to its end, stopping with it where the terminal stops it. Gives what endLike takes.
    int run(const SignalRelay& relay) const;

private:
    [[noreturn]] void fail(int error) const;

    std::vector<std::string> m_command;
    Changes m_changes;
};

/// Ends this process as that program has ended: with its exit code, or by the same signal.
[[noreturn]] void endLike(int status);

}  // namespace tool
