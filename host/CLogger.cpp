#include "host/CLogger.h"

#include <fmt/args.h>
#include <fmt/printf.h>
#include <fmt/xchar.h>

#include <stdexcept>
#include <utility>

namespace LoggingUtilities {

ILoggerImpl::~ILoggerImpl() = default;

CLogger::CLogger(std::shared_ptr<ILoggerImpl> sink) : m_sink(std::move(sink)) {
    if (!m_sink) {
        throw std::invalid_argument("a logger needs a sink");
    }
}

std::wstring CLogger::wide(const CString& text) {
    return text.toWide();
}

std::wstring CLogger::wide(const std::wstring& text) {
    return text;
}

std::wstring CLogger::wide(const wchar_t* text) {
    return text == nullptr ? L"(null)" : text;
}

std::wstring CLogger::wide(const char* utf8) {
    return wide(std::string(utf8 == nullptr ? "(null)" : utf8));
}

std::wstring CLogger::wide(const std::string& utf8) {
    try {
        return CString(utf8).toWide();
    } catch (const std::range_error&) {
        // Foreign text (the message of a system exception) in another encoding: its ASCII
        // characters still say what happened.
        std::wstring text;
        for (const char byte : utf8) {
            const bool ascii = static_cast<unsigned char>(byte) < 0x80;
            text.push_back(ascii ? static_cast<wchar_t>(byte) : L'\uFFFD');
        }
        return text;
    }
}

void CLogger::write(ELogLevel level, const wchar_t* format,
                    const std::vector<Argument>& args) const {
    fmt::dynamic_format_arg_store<fmt::wprintf_context> store;
    for (const Argument& argument : args) {
        std::visit([&store](const auto& value) { store.push_back(value); }, argument);
    }
    const fmt::basic_format_args<fmt::wprintf_context> arguments(store);
    m_sink->write(
        level, CString(fmt::vsprintf(fmt::basic_string_view<wchar_t>(format), arguments).c_str()));
}

}  // namespace LoggingUtilities
