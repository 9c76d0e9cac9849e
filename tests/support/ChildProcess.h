#pragma once

#include "tests/support/Common.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace test {

/// A forked process. The destructor kills it unless its end was awaited.
class ChildProcess {
public:
    /// It exits with the result of `body`, which may send its parent a message.
    explicit ChildProcess(const std::function<int(const ChildProcess&)>& body) {
        EXPECT_EQ(::pipe2(m_pipe.data(), O_CLOEXEC), 0);
        m_process = ::fork();
        if (m_process == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // even if the test itself crashes
            ::alarm(60);                         // and if it hangs
            int result = EXIT_FAILURE;
            try {
                result = body(*this);
            } catch (...) {  // NOLINT(bugprone-empty-catch): the result tells
            }
            ::_exit(result);
        }
        ::close(m_pipe[1]);
    }
    ~ChildProcess() {
        if (m_process > 0) {
            kill();
        }
        ::close(m_pipe[0]);
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void tell() const { (void)!::write(m_pipe[1], "", 1); }

    /// Returns false if it sent no further message before it ended or became another program.
    bool told() const {
        char byte = 0;
        return ::read(m_pipe[0], &byte, 1) == 1;
    }

    /// The wait status of its end.
    int end() {
        int status = 0;
        EXPECT_EQ(::waitpid(m_process, &status, 0), m_process);
        m_process = 0;
        return status;
    }

    void signal(int number) const { ::kill(m_process, number); }
    void kill() {
        signal(SIGKILL);
        end();
    }

private:
    std::array<int, 2> m_pipe{};
    pid_t m_process = 0;
};

/// The wait status of a process that runs `body`; if it hangs, a signal ends it.
inline int endOf(const std::function<int()>& body) {
    return ChildProcess([&](const auto&) { return body(); }).end();
}

}  // namespace test
