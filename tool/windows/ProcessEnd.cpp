#include "tool/ProcessEnd.h"

#include <windows.h>

#include <cstdlib>

namespace tool {

void endAtOnce(ExitCode code) {
    // A normal exit would call the libraries again, and some of them wait for locks of threads that
    // the system has already ended.
    ::TerminateProcess(::GetCurrentProcess(), static_cast<UINT>(code));
    std::_Exit(static_cast<int>(code));
}

}  // namespace tool
