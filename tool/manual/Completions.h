#pragma once

#include "tool/manual/Description.h"

#include <string>

namespace manual {

// The text that replaces @TREE@ in a shell's completion script.

std::string bashTree(const Description& command);
std::string zshTree(const Description& command);
std::string fishTree(const Description& command);

}  // namespace manual
