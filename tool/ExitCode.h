#pragma once

#include <exception>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace tool {

/// The exit codes of the process; scripts rely on the numbers.
enum class ExitCode : int {
    Success = 0,
    Unexpected = 1,
    Usage = 2,
    SignInNeeded = 3,
    ProviderRefused = 4,
    Network = 5,
    TokenStore = 6,
    ProgramNotExecutable = 126,  ///< for exec, the same numbers as shells use
    ProgramNotFound = 127,
    Interrupted = 130,
};

/// All exit codes with their meaning for people.
std::vector<std::pair<ExitCode, std::string>> exitCodes();
/// Whether only exec, which runs a program, uses it.
bool isOfProgram(ExitCode code);

/// The command line can be parsed, but not followed.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The program that is to get the token cannot be started.
class ProgramError : public std::runtime_error {
public:
    ProgramError(ExitCode code, const std::string& text) : std::runtime_error(text), m_code(code) {}

    ExitCode code() const { return m_code; }

private:
    ExitCode m_code;
};

struct Outcome {
    ExitCode code;
    std::string message;
};

/// The exit code and the message for a failure.
Outcome outcomeOf(const std::exception_ptr& failure);

}  // namespace tool
