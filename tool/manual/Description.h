#pragma once

#include "tool/OptionFacts.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace manual {

struct OptionGroup {
    std::string title;  ///< empty for options without their own heading
    std::string note;
    std::vector<tool::OptionFacts> options;
};

/// The command, or a subcommand, as the option tree describes it.
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

    /// The options of all groups.
    std::vector<tool::OptionFacts> options() const;
};

/// What completes the word after an option.
enum class Completion { nothing, words, files, profiles, variables };

Completion completionOf(const tool::OptionFacts& option);

/// The beginning of an option's description, for a menu.
std::string briefOf(const std::string& description);

}  // namespace manual
