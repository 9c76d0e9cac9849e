#include "tool/Countdown.h"

#include "tool/Terminal.h"

#include <fmt/format.h>

#include <algorithm>
#include <iostream>
#include <utility>

namespace tool {

Countdown::Countdown(std::string awaited, std::chrono::seconds limit)
    : m_awaited(std::move(awaited)) {
    if (isErrorTerminal()) {
        m_thread =
            std::thread([this, end = std::chrono::steady_clock::now() + limit] { run(end); });
    }
}

Countdown::~Countdown() {
    if (m_thread.joinable()) {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_stopped = true;
        }
        m_stop.notify_one();
        m_thread.join();
    }
}

void Countdown::run(std::chrono::steady_clock::time_point end) {
    using std::chrono::seconds;
    std::unique_lock<std::mutex> lock(m_mutex);
    std::size_t width = 0;
    const auto rewrite = [&width](const std::string& line) {
        // The cursor returns to the start of the line, so that the next output replaces it.
        std::cerr << fmt::format("\r{:<{}}\r", line, width) << std::flush;
        width = line.size();
    };
    for (auto left = std::chrono::ceil<seconds>(end - std::chrono::steady_clock::now());
         !m_stopped && left > seconds(0); --left) {
        rewrite(fmt::format("Waiting for {}: {} s left.", m_awaited, left.count()));
        m_stop.wait_until(lock, end - left + seconds(1), [this] { return m_stopped; });
    }
    rewrite({});
}

}  // namespace tool
