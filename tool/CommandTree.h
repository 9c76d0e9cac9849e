#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tool {

/// The subcommands with their options, as they are parsed and as the manual describes them.
/// `program` is what it has behind "--"; when a subcommand is chosen, `chosen` is set to what runs
/// it.
std::unique_ptr<CLI::App> makeCommandTree(const std::vector<std::string>& program,
                                          std::function<void()>& chosen);

/// Whether a program stands behind the "--" of this subcommand.
bool takesProgram(const CLI::App& command);

/// The first line of a description.
std::string summaryOf(const CLI::App& command);
/// The rest of it.
std::string detailsOf(const CLI::App& command);

}  // namespace tool
