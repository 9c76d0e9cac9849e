#include "tool/Arguments.h"

namespace tool {

std::vector<std::string> argumentsOf(int argc, char** argv) {
    return {argv, argv + argc};
}

}  // namespace tool
