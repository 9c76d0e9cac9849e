#include "tool/manual/Page.h"

#include "tool/ExitCode.h"
#include "tool/manual/Roff.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

namespace manual {

namespace {

using tool::OptionFacts;

const std::vector<std::string> ownTitles{"DESCRIPTION", "EXIT STATUS", "ENVIRONMENT",
                                         "FILES",       "EXAMPLES",    "SEE ALSO"};

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return std::toupper(letter); });
    return text;
}

std::string capitalized(std::string text) {
    text.replace(0, 1, upper(text.substr(0, 1)));
    return text;
}

std::string sentence(const std::string& text) {
    return capitalized(text) + (text.back() == '.' ? "" : ".");
}

std::string section(const std::string& title, std::string text) {
    const std::string exampleEnd = ".EE\n";  // this switches hyphenation on again
    const std::string hyphenationOff = ".nh\n";
    for (auto at = text.find(exampleEnd); at != std::string::npos;
         at = text.find(exampleEnd, at + 1)) {
        text.insert(at + exampleEnd.size(), hyphenationOff);
    }
    return text.empty() ? "" : ".SH " + title + '\n' + text;
}

/// The texts with a paragraph break between them, if both are not empty.
std::string joined(const std::string& first, const std::string& second) {
    return first + (first.empty() || second.empty() ? "" : ".PP\n") + second;
}

std::string heading(const std::string& name, const std::string& summary, const Edition& edition) {
    std::string lower = summary;
    lower.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(lower.front())));
    return fmt::format(
        ".\\\" Made from the command line's own description of itself when the command is built.\n"
        ".TH {} 1 \"{}\" \"OIDCAuth {}\" \"User Commands\"\n"
        // A name that is broken at its hyphen can no longer be copied.
        ".nh\n.ad l\n"
        ".SH NAME\n{} \\- {}\n",
        code(upper(name)), edition.date, edition.version, code(name), lower);
}

std::string listOf(const std::vector<std::string>& items, const std::string& conjunction) {
    std::string text;
    for (std::size_t i = 0; i < items.size(); ++i) {
        text += (i == 0 ? "" : i + 1 < items.size() ? ", " : ' ' + conjunction + ' ') + items[i];
    }
    return text;
}

std::string notesOf(const OptionFacts& option) {
    std::string notes;
    if (!option.words.empty()) {
        notes += ' ' + option.value + (option.takesOtherWords ? " can be " : " is one of ") +
                 listOf(option.words, option.takesOtherWords ? "or" : "and") +
                 (option.takesOtherWords ? ", or another value that the provider supports." : ".");
    }
    if (!option.standard.empty()) {
        notes += " Default: " + option.standard + '.';
    }
    if (!option.companions.empty()) {
        notes += " Only with " + listOf(option.companions, "and") + '.';
    }
    if (!option.rivals.empty()) {
        notes += " Not with " + listOf(option.rivals, "or") + '.';
    }
    return notes;
}

std::string entryOf(const OptionFacts& option) {
    std::string names;
    for (const std::string& name : option.names) {
        names += (names.empty() ? "" : ", ") + (option.isPositional ? italic(name) : bold(name));
    }
    const std::string value =
        option.value.empty() || option.isPositional ? "" : ' ' + italic(option.value);
    return ".TP\n" + names + value + '\n' + prose(sentence(option.description) + notesOf(option));
}

std::string optionsOf(const Description& command) {
    std::string text;
    for (const OptionFacts& argument : command.arguments) {
        text += entryOf(argument);
    }
    for (const OptionGroup& group : command.groups) {
        if (!group.title.empty()) {
            text += ".SS " + group.title + '\n';
        }
        if (!group.note.empty()) {
            text += prose(sentence(group.note));
        }
        for (const OptionFacts& option : group.options) {
            text += entryOf(option);
        }
    }
    return text;
}

std::string exitStatus(bool ofProgram) {
    std::string text;
    for (const auto& [code, meaning] : tool::exitCodes()) {
        if (ofProgram || !tool::isOfProgram(code)) {
            text += fmt::format(".TP 6\n{}\n{}", bold(std::to_string(static_cast<int>(code))),
                                prose(sentence(meaning)));
        }
    }
    return text;
}

std::string variablesOf(const Description& command, const std::string& others) {
    std::string table;
    for (const OptionFacts& option : command.options()) {
        if (!option.variable.empty()) {
            const bool isFirst = table.empty();
            table += ".TP 36\n.B " + option.variable + '\n' + bold(option.name()) + '\n';
            table += isFirst ? ".PD 0\n" : "";  // no space between the following entries
        }
    }
    if (table.empty()) {
        return others;
    }
    return prose("These variables stand for options:") + table + ".PD\n" +
           (others.empty() ? "" : ".PP\nOther variables:\n" + others);
}

std::string exampleOf(const Description& command) {
    if (command.example.empty()) {
        return "";
    }
    const auto end = command.example.find('\n');
    std::string title = command.example.substr(0, end);
    title.erase(0, title.find(": ") + 2);
    std::string lines = command.example.substr(end + 1);
    const std::string indent = "\n  ";
    lines.erase(0, indent.size() - 1);
    for (auto at = lines.find(indent); at != std::string::npos; at = lines.find(indent, at + 1)) {
        lines.erase(at + 1, indent.size() - 1);
    }
    return joined(prose(capitalized(title) + ':'), example(lines));
}

std::string reference(const std::string& page, const std::string& punctuation) {
    return ".BR " + code(page) + " (1)" + punctuation + '\n';
}

std::string peculiarSections(const PageText& text) {
    std::string sections;
    for (const auto& [title, lines] : text.sectionsBut(ownTitles)) {
        sections += section(title, lines);
    }
    return sections;
}

std::string lastSections(const Description& command, const PageText& text,
                         const std::string& seeAlso) {
    return section("EXIT STATUS", exitStatus(command.takesProgram || !command.subcommands.empty()) +
                                      text.section("EXIT STATUS")) +
           section("ENVIRONMENT", variablesOf(command, text.section("ENVIRONMENT"))) +
           section("FILES", text.section("FILES")) +
           section("EXAMPLES", joined(exampleOf(command), text.section("EXAMPLES"))) +
           section("SEE ALSO", seeAlso + text.section("SEE ALSO"));
}

}  // namespace

std::string pageOf(const Description& command, const PageText& text, const Edition& edition) {
    std::string list;
    std::string seeAlso;
    for (const Description& part : command.subcommands) {
        const std::string page = command.name + '-' + part.name;
        list += ".TP\n" + reference(page, "") + prose(sentence(part.summary));
        seeAlso += reference(page, &part == &command.subcommands.back() ? "" : " ,");
    }
    return heading(command.name, command.summary, edition) +
           section("SYNOPSIS", bold(command.name) + '\n' + italic("command") + "\n[" +
                                   italic("options") + "]\n.br\n" + bold(command.name) + '\n' +
                                   bold("--help") + " | " + bold("--version") + '\n') +
           section("DESCRIPTION", text.section("DESCRIPTION")) + section("COMMANDS", list) +
           section("OPTIONS", optionsOf(command)) + peculiarSections(text) +
           lastSections(command, text, seeAlso);
}

std::string pageOf(const Description& command, const Description& subcommand, const PageText& text,
                   const Edition& edition) {
    std::string synopsis =
        bold(command.name + ' ' + subcommand.name) + "\n[" + italic("options") + "]\n";
    for (const OptionFacts& argument : subcommand.arguments) {
        synopsis += italic(argument.name()) + '\n';
    }
    if (subcommand.takesProgram) {
        synopsis += bold("--") + '\n' + italic("program") + "\n[" + italic("argument") + " ...]\n";
    }
    const bool isLast = text.section("SEE ALSO").empty();
    return heading(command.name + '-' + subcommand.name, subcommand.summary, edition) +
           section("SYNOPSIS", synopsis) +
           section("DESCRIPTION", joined(prose(subcommand.details), text.section("DESCRIPTION"))) +
           section("OPTIONS", optionsOf(subcommand)) + peculiarSections(text) +
           lastSections(subcommand, text, reference(command.name, isLast ? "" : " ,"));
}

}  // namespace manual
