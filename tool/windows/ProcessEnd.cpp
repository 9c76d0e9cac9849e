#include "tool/ProcessEnd.h"

#include <windows.h>

#include <cstdlib>

namespace tool {

void endAtOnce(ExitCode code) {
    // An exit would call the libraries once more, some of which wait for locks of threads that the
    // system has ended by then.
    ::TerminateProcess(::GetCurrentProcess(), static_cast<UINT>(code));
    std::_Exit(static_cast<int>(code));
}

}  // namespace tool
