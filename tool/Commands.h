#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

namespace tool {

// Each function adds a subcommand; when it is chosen, `chosen` is set to the function that runs it.

void addLogin(CLI::App& app, std::function<void()>& chosen);
void addUserTokens(CLI::App& app, std::function<void()>& chosen);  ///< token and id-token
void addStatus(CLI::App& app, std::function<void()>& chosen);
void addLogout(CLI::App& app, std::function<void()>& chosen);
void addServiceToken(CLI::App& app, std::function<void()>& chosen);
void addProfiles(CLI::App& app, std::function<void()>& chosen);
/// `program` has the words after "--" on the command line.
void addExec(CLI::App& app, const std::vector<std::string>& program, std::function<void()>& chosen);
void addKeep(CLI::App& app, std::function<void()>& chosen);
void addProvider(CLI::App& app, std::function<void()>& chosen);

}  // namespace tool
