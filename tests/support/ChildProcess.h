#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <functional>

namespace test {

/// A process that tells of one event and waits for one order, by pipes. Killed and collected with
/// this object, unless its end was awaited.
class ChildProcess {
public:
    /// Its process ends with the result of `body`, which gets this object to `tell` and `await`.
    explicit ChildProcess(const std::function<int(const ChildProcess&)>& body) {
        if (::pipe2(m_told.data(), O_CLOEXEC) != 0 || ::pipe2(m_order.data(), O_CLOEXEC) != 0) {
            ADD_FAILURE() << "no pipes";
        }
        m_process = ::fork();
        if (m_process == 0) {
            ::close(m_told[0]);
            ::close(m_order[1]);
            int result = EXIT_FAILURE;
            try {
                result = body(*this);
            } catch (...) {  // NOLINT(bugprone-empty-catch): the result tells
            }
            ::_exit(result);
        }
        ::close(m_told[1]);
        ::close(m_order[0]);
    }
    ~ChildProcess() {
        if (m_process > 0) {
            kill();
        }
        ::close(m_told[0]);
        ::close(m_order[1]);
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// In the child.
    void tell() const { (void)!::write(m_told[1], "", 1); }
    void await() const {
        char byte = 0;
        (void)!::read(m_order[0], &byte, 1);
    }

    /// In the parent. False when the child ended without having told.
    bool told() const {
        char byte = 0;
        return ::read(m_told[0], &byte, 1) == 1;
    }
    void order() const { (void)!::write(m_order[1], "", 1); }

    /// The wait status of its end.
    int end() {
        int status = 0;
        EXPECT_EQ(::waitpid(m_process, &status, 0), m_process);
        m_process = 0;
        return status;
    }
    void kill() {
        ::kill(m_process, SIGKILL);
        end();
    }

private:
    std::array<int, 2> m_told{};
    std::array<int, 2> m_order{};
    pid_t m_process = 0;
};

}  // namespace test
