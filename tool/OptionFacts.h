#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace tool {

/// Whether an option is left out of --help, the manual pages and completion.
bool isHidden(const CLI::Option& option);

/// The facts about an option, for --help, the manual pages and completion.
///
/// The name of an option's type is more than a placeholder: FILE, PROFILE and VARIABLE can be
/// completed, and so can the words in `FORMAT:{token,json}`, whether we or the parser wrote them.
/// Three dots among the words mean that other values are allowed, too.
struct OptionFacts {
    std::vector<std::string> names;  ///< with their hyphens, the short one first
    std::string value;               ///< the placeholder; empty for a flag
    std::vector<std::string> words;  ///< values to choose from
    bool takesOtherWords = true;
    std::string standard;  ///< the default value, if one is shown
    bool isPositional = false;
    bool isRepeatable = false;
    std::string variable;                 ///< the variable that can replace it; empty: none
    std::vector<std::string> rivals;      ///< options that it excludes
    std::vector<std::string> companions;  ///< options that it requires
    std::string description;

    explicit OptionFacts(const CLI::Option& option);

    /// The long name, if there is one.
    const std::string& name() const { return names.back(); }
};

}  // namespace tool
