#include "tool/Environment.h"

namespace tool {

std::string variable(const std::string& name) {
    return readVariable(name).value_or("");
}

}  // namespace tool
