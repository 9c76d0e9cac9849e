#include "tool/HelpFormatter.h"

#include "tool/CommandTree.h"
#include "tool/Filling.h"
#include "tool/OptionFacts.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstddef>
#include <sstream>
#include <vector>

namespace tool {

namespace {

constexpr std::size_t pageWidth = 88;
constexpr std::size_t descriptionWidth = 62;

std::string lines(const std::string& text, std::size_t width) {
    return fmt::format("{}", fmt::join(filled(text, width), "\n"));
}

/// The notes after the description.
std::string notesOf(const OptionFacts& facts) {
    std::vector<std::string> notes;
    if (!facts.words.empty()) {
        notes.push_back(fmt::format("{}: {}", facts.takesOtherWords ? "for example" : "one of",
                                    fmt::join(facts.words, ", ")));
    }
    if (!facts.standard.empty()) {
        notes.push_back("default: " + facts.standard);
    }
    if (!facts.rivals.empty()) {
        notes.push_back(fmt::format("not with {}", fmt::join(facts.rivals, ", ")));
    }
    if (!facts.companions.empty()) {
        notes.push_back(fmt::format("only with {}", fmt::join(facts.companions, ", ")));
    }
    if (!facts.variable.empty()) {
        notes.push_back(facts.variable);
    }
    return notes.empty() ? "" : fmt::format("[{}]", fmt::join(notes, "; "));
}

}  // namespace

std::string HelpFormatter::make_description(const CLI::App* command) const {
    const std::string details = lines(detailsOf(*command), pageWidth);
    return summaryOf(*command) + '\n' + details + (details.empty() ? "\n" : "\n\n");
}

std::string HelpFormatter::make_usage(const CLI::App* command, std::string name) const {
    std::string usage = CLI::Formatter::make_usage(command, std::move(name));
    if (takesProgram(*command)) {
        usage.insert(usage.size() - 1, " -- PROGRAM [ARGUMENT ...]");
    }
    return usage;
}

std::string HelpFormatter::make_expanded(const CLI::App* group) const {
    const std::string heading =
        group->get_group() +
        (group->get_description().empty() ? "" : ": " + group->get_description());
    return make_group(heading, false, group->get_options({}));
}

std::string HelpFormatter::make_subcommand(const CLI::App* command) const {
    std::ostringstream line;
    CLI::detail::format_help(line, command->get_name(), summaryOf(*command), get_column_width());
    return line.str();
}

std::string HelpFormatter::make_option_name(const CLI::Option* option, bool /*unused*/) const {
    return fmt::format("{}", fmt::join(OptionFacts(*option).names, ", "));
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
    const OptionFacts facts(*option);
    return facts.isPositional || facts.value.empty() ? "" : ' ' + facts.value;
}

std::string HelpFormatter::make_option_desc(const CLI::Option* option) const {
    const OptionFacts facts(*option);
    const std::string notes = notesOf(facts);
    return lines(facts.description, descriptionWidth) +
           (notes.empty() ? "" : '\n' + lines(notes, descriptionWidth));
}

}  // namespace tool
