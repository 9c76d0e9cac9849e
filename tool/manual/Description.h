#pragma once

#include "tool/OptionFacts.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace manual {

struct OptionGroup {
    std::string title;  ///< empty for those without a heading of their own
    std::string note;
    std::vector<tool::OptionFacts> options;
};

/// What the command line's tree says of the command, or of a subcommand.
struct Description {
    std::string name;
    std::string summary;
    std::string details;
    std::string example;  ///< with its heading
    std::vector<tool::OptionFacts> arguments;
    std::vector<OptionGroup> groups;
    std::vector<Description> subcommands;
    bool takesProgram;

    explicit Description(const CLI::App& command);

    /// Of all groups.
    std::vector<tool::OptionFacts> options() const;
};

/// What can follow an option, for completion.
enum class Completion { nothing, words, files, profiles, variables };

Completion completionOf(const tool::OptionFacts& option);

/// The beginning of an option's description, for a menu.
std::string briefOf(const std::string& description);

}  // namespace manual
