#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

/// Shows on one line of standard error what the command waits for and how much longer it waits, if
/// that is a terminal; otherwise does nothing. The line is removed by the destructor.
class Countdown {
public:
    Countdown(std::string awaited, std::chrono::seconds limit);
    ~Countdown();
    Countdown(const Countdown&) = delete;
    Countdown& operator=(const Countdown&) = delete;

private:
    void run(std::chrono::steady_clock::time_point end);

    const std::string m_awaited;
    std::mutex m_mutex;
    std::condition_variable m_stop;
    bool m_stopped = false;
    std::thread m_thread;
};

}  // namespace tool
