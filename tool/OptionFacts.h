#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace tool {

/// What is known of an option, for those who describe it: --help, the manual pages, completion.
///
/// The name of an option's type tells more than a placeholder: FILE, PROFILE and VARIABLE can be
/// completed, and so can the words in `FORMAT:{token,json}`, in whichever way they got there. Three
/// dots among them say that others are taken, too.
struct OptionFacts {
    std::vector<std::string> names;  ///< with their hyphens, the short one first
    std::string value;               ///< the placeholder; empty for a flag
    std::vector<std::string> words;  ///< values to choose from
    bool takesOtherWords = true;
    std::string standard;  ///< the default value, if any is told
    bool isPositional = false;
    bool isRepeatable = false;
    std::string variable;                 ///< that stands for it; empty: none
    std::vector<std::string> rivals;      ///< options that it excludes
    std::vector<std::string> companions;  ///< options without which it is of no use
    std::string description;

    explicit OptionFacts(const CLI::Option& option);

    /// The long one, where there is one.
    const std::string& name() const { return names.back(); }
};

}  // namespace tool
