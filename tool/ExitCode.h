#pragma once

#include <exception>
#include <stdexcept>
#include <string>

namespace tool {

/// What the process ends with; scripts rely on the numbers.
enum class ExitCode : int {
    Success = 0,
    Unexpected = 1,              ///< the system failed us: no memory, output closed
    Usage = 2,                   ///< the command line cannot be followed
    SignInNeeded = 3,            ///< only a user could provide the token
    ProviderRefused = 4,         ///< the provider refused, or its answer is not what it should be
    Network = 5,                 ///< the provider was not reached, or not in time
    TokenStore = 6,              ///< the stored token cannot be kept or read safely
    ProgramNotExecutable = 126,  ///< that of exec, as shells have it
    ProgramNotFound = 127,
    Interrupted = 130,
};

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
