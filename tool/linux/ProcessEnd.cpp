#include "tool/ProcessEnd.h"

#include <cstdlib>

namespace tool {

void endAtOnce(ExitCode code) {
    std::_Exit(static_cast<int>(code));
}

}  // namespace tool
