#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tool {

/// The subcommands with their options: the parser uses them, and the manual pages describe them.
/// `program` has the words after "--". When a subcommand is chosen, `chosen` is set to the function
/// that runs it.
std::unique_ptr<CLI::App> makeCommandTree(const std::vector<std::string>& program,
                                          std::function<void()>& chosen);

/// Whether this subcommand takes a program after "--".
bool takesProgram(const CLI::App& command);

/// The first line of the description.
std::string summaryOf(const CLI::App& command);
/// The rest of the description.
std::string detailsOf(const CLI::App& command);

}  // namespace tool
