#include "tool/manual/Description.h"

#include "tool/CommandTree.h"

#include <algorithm>
#include <array>

namespace manual {

namespace {

OptionGroup groupOf(const CLI::App& app) {
    OptionGroup group;
    if (app.get_name().empty()) {
        group.title = app.get_group();
        group.note = app.get_description();
    }
    for (const CLI::Option* const option : app.get_options({})) {
        if (!option->get_positional() && !tool::isHidden(*option)) {
            group.options.emplace_back(*option);
        }
    }
    // Each option of such a group excludes all others.
    if (app.get_require_option_max() == 1) {
        const auto all = group.options;
        for (tool::OptionFacts& option : group.options) {
            for (const tool::OptionFacts& other : all) {
                if (other.name() != option.name()) {
                    option.rivals.push_back(other.name());
                }
            }
        }
    }
    return group;
}

}  // namespace

Description::Description(const CLI::App& command)
    : name(command.get_name()),
      summary(tool::summaryOf(command)),
      details(tool::detailsOf(command)),
      takesProgram(tool::takesProgram(command)) {
    for (const CLI::Option* const option : command.get_options({})) {
        if (option->get_positional()) {
            arguments.emplace_back(*option);
        }
    }
    groups.push_back(groupOf(command));
    for (const CLI::App* const part : command.get_subcommands({})) {
        if (part->get_name().empty()) {
            groups.push_back(groupOf(*part));
        } else {
            subcommands.emplace_back(*part);
        }
    }
    if (subcommands.empty()) {  // the main footer repeats what the pages have in sections
        example = command.get_footer();
    }
}

std::vector<tool::OptionFacts> Description::options() const {
    std::vector<tool::OptionFacts> all;
    for (const OptionGroup& group : groups) {
        all.insert(all.end(), group.options.begin(), group.options.end());
    }
    return all;
}

Completion completionOf(const tool::OptionFacts& option) {
    return !option.words.empty()        ? Completion::words
           : option.value == "FILE"     ? Completion::files
           : option.value == "PROFILE"  ? Completion::profiles
           : option.value == "VARIABLE" ? Completion::variables
                                        : Completion::nothing;
}

std::string briefOf(const std::string& description) {
    const std::array<const char*, 5> ends{". ", ": ", "; ", ", ", " ("};
    std::size_t end = description.size();
    for (const char* const text : ends) {
        end = std::min(end, description.find(text));
    }
    return description.substr(0, end);
}

}  // namespace manual
