#pragma once

#include "host/CLogger.h"
#include "tests/support/Common.h"

namespace test {

/// Records the log in order: each line after its level and a blank.
class CapturedLog final : public LoggingUtilities::ILoggerImpl {
public:
    void write(LoggingUtilities::ELogLevel level, const CString& line) override {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_lines.push_back(std::to_string(static_cast<int>(level)) + ' ' + line.toUtf8());
        const auto call = m_onLine;
        lock.unlock();
        if (call) {
            call(line.toUtf8());
        }
    }

    /// Called with each later line.
    void onLine(std::function<void(const std::string&)> call) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_onLine = std::move(call);
    }

    std::vector<std::string> lines() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_lines;
    }

    /// The lines since the last call.
    std::vector<std::string> takeLines() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return std::exchange(m_lines, {});
    }

    /// The lines of this level and above since the last call, joined, with their levels.
    std::string takeFrom(int level) {
        std::string text;
        for (const std::string& line : takeLines()) {
            text += line.front() - '0' >= level ? line : "";
        }
        return text;
    }

    /// All lines of a level, joined.
    std::string textAt(int level) const {
        std::string text;
        for (const std::string& line : lines()) {
            text += line.front() - '0' == level ? line.substr(2) : "";
        }
        return text;
    }

    static std::shared_ptr<LoggingUtilities::CLogger> loggerTo(
        const std::shared_ptr<CapturedLog>& log) {
        return std::make_shared<LoggingUtilities::CLogger>(log);
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_lines;
    std::function<void(const std::string&)> m_onLine;
};

}  // namespace test
