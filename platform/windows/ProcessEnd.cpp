#include "platform/ProcessEnd.h"

#include <windows.h>

namespace platform {

namespace {

using Answer = unsigned char(__stdcall*)();

/// Threads of the system's pool release our objects after the end of a task. So this code stays in
/// memory, even if the library that it is in is freed.
bool stayLoaded() noexcept {
    HMODULE self = nullptr;
    return ::GetModuleHandleExW(
               GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
               reinterpret_cast<const wchar_t*>(&stayLoaded), &self) != 0;
}

[[maybe_unused]] const bool isPinned = stayLoaded();

// No header declares this function.
const auto isShutDown = reinterpret_cast<Answer>(reinterpret_cast<void*>(
    ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress")));

}  // namespace

bool otherThreadsAreGone() noexcept {
    return isShutDown == nullptr || isShutDown() != 0;
}

}  // namespace platform
