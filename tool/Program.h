#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tool {

/// The state that the caller passed to this process: open descriptors and ignored signals. On
/// Windows a program inherits only the standard streams.
class Inheritance {
public:
    /// Create it before anything is opened. Throws std::system_error if the system cannot list
    /// them.
    Inheritance();

    /// Restores this state: a program that is started afterwards inherits this and nothing else.
    void restore() const;

private:
    std::set<int> m_descriptors;
    std::set<int> m_ignoredSignals;
};

/// While it exists, signals that others send to this process are forwarded to the program that it
/// starts: signals to end it, and those that programs use among themselves. Signals from the
/// terminal reach both by themselves. On Windows there are no others, and this process waits for
/// the program's end.
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
    /// By name; without a value the variable is removed.
    using Changes = std::map<std::string, std::optional<std::string>>;

    explicit Program(std::vector<std::string> command) : m_command(std::move(command)) {}

    void set(const std::string& name, const std::string& value) { m_changes[name] = value; }
    void unset(const std::string& name) { m_changes[name] = std::nullopt; }

    // These throw ProgramError if the program cannot be started.

    /// Replaces this process by the program. Windows cannot do that: there the program ends with
    /// this process, and this process with the program's exit code.
    [[noreturn]] void become() const;
    /// Runs the program to its end; if the terminal stops it, this process stops, too. Returns the
    /// status for endLike.
    int run(const SignalRelay& relay) const;

private:
    [[noreturn]] void fail(int error) const;

    std::vector<std::string> m_command;
    Changes m_changes;
};

/// Ends this process in the way that the program has ended: with its exit code, or by the same
/// signal.
[[noreturn]] void endLike(int status);

}  // namespace tool
