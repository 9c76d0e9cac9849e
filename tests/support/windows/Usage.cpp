#include "tests/support/Usage.h"

// The other headers need the first one.
// clang-format off
#include <windows.h>
#include <psapi.h>
#include <tlhelp32.h>
// clang-format on

namespace test {

namespace {

std::size_t threads() {
    const HANDLE all = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof(entry);
    std::size_t own = 0;
    for (BOOL more = ::Thread32First(all, &entry); more != FALSE;
         more = ::Thread32Next(all, &entry)) {
        own += entry.th32OwnerProcessID == ::GetCurrentProcessId() ? 1U : 0U;
    }
    ::CloseHandle(all);
    return own;
}

}  // namespace

Usage usage() {
    PROCESS_MEMORY_COUNTERS_EX memory{};
    ::GetProcessMemoryInfo(::GetCurrentProcess(),
                           reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory), sizeof(memory));
    DWORD handles = 0;
    ::GetProcessHandleCount(::GetCurrentProcess(), &handles);
    return {memory.WorkingSetSize / 1024, memory.PeakWorkingSetSize / 1024,
            memory.PrivateUsage / 1024, threads(), handles};
}

}  // namespace test
