#include "host/standalone/windows/DebuggerLog.h"
#include "tests/support/Common.h"

#include <gtest/gtest.h>
#include <windows.h>

namespace {

std::wstring shown;

/// The text that a debugger would get: wide, or where that is not possible (Wine) in the code page.
LONG CALLBACK listen(EXCEPTION_POINTERS* raised) {
    constexpr DWORD narrowText = 0x40010006;
    constexpr DWORD wideText = 0x4001000A;
    const auto& record = *raised->ExceptionRecord;
    if (record.ExceptionCode == wideText) {
        shown += reinterpret_cast<const wchar_t*>(record.ExceptionInformation[1]);
    } else if (record.ExceptionCode == narrowText) {
        std::array<wchar_t, 256> wide{};
        ::MultiByteToWideChar(CP_ACP, 0, reinterpret_cast<LPCCH>(record.ExceptionInformation[1]),
                              -1, wide.data(), static_cast<int>(wide.size()));
        shown += wide.data();
    } else {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    return EXCEPTION_CONTINUE_EXECUTION;
}

TEST(DebuggerLog, TellsRedactedLinesOfTheWantedLevels) {
    using LoggingUtilities::ELogLevel;
    void* const listener = ::AddVectoredExceptionHandler(1, &listen);
    standalone::DebuggerLog log(ELogLevel::Warning);
    log.write(ELogLevel::Detail, L"too low");
    log.write(ELogLevel::Warning, L"\u00e4 %s\n password=x");
    log.write(ELogLevel::Error, L"{}");
    ::RemoveVectoredExceptionHandler(listener);
    EXPECT_EQ(shown, L"oidcauth warning: \u00e4 %s\\n password=\u2026\noidcauth error: {}\n");
}

}  // namespace
