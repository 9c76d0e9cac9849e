#include "tool/Terminal.h"

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

namespace tool {

bool isErrorTerminal() {
    constexpr int standardError = 2;
#if defined(_WIN32)
    return _isatty(standardError) != 0;
#else
    return isatty(standardError) != 0;
#endif
}

}  // namespace tool
