#include "host/standalone/detail/LogLine.h"

#include <boost/locale/encoding_utf.hpp>
#include <spdlog/sinks/base_sink.h>
#include <windows.h>

#include <mutex>
#include <string_view>

namespace standalone::detail {

namespace {

WORD colourOf(spdlog::level::level_enum level) {
    switch (level) {
        case spdlog::level::err:
            return FOREGROUND_RED | FOREGROUND_INTENSITY;
        case spdlog::level::warn:
            return FOREGROUND_RED | FOREGROUND_GREEN | FOREGROUND_INTENSITY;
        case spdlog::level::info:
            return FOREGROUND_GREEN;
        default:
            return FOREGROUND_GREEN | FOREGROUND_BLUE;
    }
}

/// A console gets wide text, whatever its code page; a file or a pipe gets UTF-8.
class ErrorSink final : public spdlog::sinks::base_sink<std::mutex> {
private:
    void sink_it_(const spdlog::details::log_msg& message) override {
        spdlog::memory_buf_t buffer;
        formatter_->format(message, buffer);
        const std::string_view line(buffer.data(), buffer.size());
        // Read each time: programs may redirect it. A desktop program has none.
        const HANDLE output = ::GetStdHandle(STD_ERROR_HANDLE);
        DWORD mode = 0;
        if (::GetConsoleMode(output, &mode) == 0) {
            DWORD written = 0;
            ::WriteFile(output, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
            return;
        }
        const auto begin = message.color_range_start;
        const auto end = message.color_range_end;
        show(output, line.substr(0, begin));
        CONSOLE_SCREEN_BUFFER_INFO before{};
        const bool isKnown = ::GetConsoleScreenBufferInfo(output, &before) != 0;
        constexpr WORD foreground = 0x0F;
        if (isKnown) {
            ::SetConsoleTextAttribute(output, static_cast<WORD>((before.wAttributes & ~foreground) |
                                                                colourOf(message.level)));
        }
        show(output, line.substr(begin, end - begin));
        if (isKnown) {
            ::SetConsoleTextAttribute(output, before.wAttributes);
        }
        show(output, line.substr(end));
    }

    void flush_() override {}

    static void show(HANDLE console, std::string_view text) {
        const auto wide =
            boost::locale::conv::utf_to_utf<wchar_t>(text.data(), text.data() + text.size());
        DWORD written = 0;
        ::WriteConsoleW(console, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
    }
};

}  // namespace

std::shared_ptr<spdlog::sinks::sink> makeErrorSink() {
    return std::make_shared<ErrorSink>();
}

}  // namespace standalone::detail
