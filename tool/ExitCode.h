#pragma once

#include <exception>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace tool {

/// What the process ends with; scripts rely on the numbers.
enum class ExitCode : int {
    Success = 0,
    Unexpected = 1,
    Usage = 2,
    SignInNeeded = 3,
    ProviderRefused = 4,
    Network = 5,
    TokenStore = 6,
    ProgramNotExecutable = 126,  ///< that of exec, as shells have it
    ProgramNotFound = 127,
    Interrupted = 130,
};

/// All of them, with what they tell people.
std::vector<std::pair<ExitCode, std::string>> exitCodes();
/// Whether only exec, which runs a program, ends with it.
bool isOfProgram(ExitCode code);

/// The command line can be read, but not followed.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The program that is to get a token cannot be started.
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

/// What a failure means to whoever ran the command.
Outcome outcomeOf(const std::exception_ptr& failure);

}  // namespace tool
