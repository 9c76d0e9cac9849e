#pragma once

#include "tool/manual/Description.h"

#include <string>

namespace manual {

// What stands in a shell's completion script in place of @TREE@.

std::string bashTree(const Description& command);
std::string zshTree(const Description& command);
std::string fishTree(const Description& command);

}  // namespace manual
