#include "tool/windows/EndRequests.h"

#include "tool/ExitCode.h"
#include "tool/ProcessEnd.h"

#include <windows.h>

#include <mutex>
#include <utility>

namespace tool {

namespace {

std::mutex mutex;  // guards the receiver and its calls
EndRequests* receiver = nullptr;

BOOL WINAPI handle(DWORD event) {
    const bool isTermination = event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT;
    if (!EndRequests::tell(isTermination)) {
        endAtOnce(ExitCode::Interrupted);
    }
    if (isTermination) {
        // The system ends the process when this returns, or after some seconds. Until then the
        // process cancels its work and ends by itself.
        ::Sleep(INFINITE);
    }
    return TRUE;
}

/// Registered at the start and never removed: removing it could wait for a call that lasts.
[[maybe_unused]] const bool isHandled = ::SetConsoleCtrlHandler(&handle, TRUE) != 0;

EndRequests* replaceReceiver(EndRequests* other) {
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(receiver, other);
}

}  // namespace

EndRequests::EndRequests(Hear hear) : m_hear(std::move(hear)), m_before(replaceReceiver(this)) {}

bool EndRequests::tell(bool isTermination) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (receiver == nullptr) {
        return false;
    }
    receiver->m_hear(isTermination);
    return true;
}

EndRequests::~EndRequests() {
    replaceReceiver(m_before);
}

}  // namespace tool
