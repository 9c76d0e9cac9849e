#include "tool/manual/Completions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <array>
#include <utility>

namespace manual {

namespace {

using tool::OptionFacts;

/// The text with a backslash before each of these characters.
std::string escaped(const std::string& text, const std::string& characters) {
    std::string result;
    for (const char character : text) {
        result += characters.find(character) == std::string::npos ? "" : "\\";
        result += character;
    }
    return result;
}

/// Quoted for a POSIX shell.
std::string shellWord(const std::string& text) {
    std::string result = "'";
    for (const char character : text) {
        result += character == '\'' ? "'\\''" : std::string(1, character);
    }
    return result + '\'';
}

std::string fishWord(const std::string& text) {
    return '\'' + escaped(text, "\\'") + '\'';
}

// ---- bash

const char* nameOf(Completion completion) {
    constexpr std::array names{"nothing", "words", "files", "profiles", "variables"};
    return names.at(static_cast<std::size_t>(completion));
}

/// One line for each option: its name and, if it takes a value, how to complete it.
std::string bashOptions(const std::string& pattern, const Description& command) {
    std::string text = fmt::format("        {})\n            cat <<'END'\n", pattern);
    for (const OptionFacts& option : command.options()) {
        for (const std::string& name : option.names) {
            text += name +
                    (option.value.empty() ? "" : std::string(" ") + nameOf(completionOf(option)));
            text += fmt::format("{}{}\n", option.words.empty() ? "" : " ",
                                fmt::join(option.words, " "));
        }
    }
    for (const OptionFacts& argument : command.arguments) {
        text += fmt::format("- {}\n", nameOf(completionOf(argument)));
    }
    return text + (command.takesProgram ? "- words --\n--\n" : "") + "END\n            ;;\n";
}

// ---- zsh

std::string zshAction(const OptionFacts& option) {
    switch (completionOf(option)) {
        case Completion::words:
            return fmt::format("({})", fmt::join(option.words, " "));
        case Completion::files:
            return "_files";
        case Completion::profiles:
            return "_oidcauth_profiles";
        case Completion::variables:
            return "_oidcauth_variables";
        default:
            return " ";
    }
}

std::string zshOption(const OptionFacts& option, const std::string& name) {
    const bool isLast = name == "-h" || name == "--help" || name == "--version";
    std::vector<std::string> rivals = option.rivals;
    rivals.insert(rivals.end(), option.names.begin(), option.names.end());
    const std::string exclusion = isLast ? "(- *)"
                                  : option.isRepeatable
                                      ? "*"
                                      : fmt::format("({})", fmt::join(rivals, " "));
    std::string text = exclusion + name + (option.value.empty() ? "" : "=") + '[' +
                       escaped(briefOf(option.description), "[]:\\") + ']';
    if (!option.value.empty()) {
        text += ':' + escaped(option.value, ":") + ':' + zshAction(option);
    }
    return shellWord(text);
}

std::string zshArguments(const Description& command) {
    std::string text;
    for (const OptionFacts& option : command.options()) {
        for (const std::string& name : option.names) {
            text += " \\\n                " + zshOption(option, name);
        }
    }
    for (const OptionFacts& argument : command.arguments) {
        text += " \\\n                " +
                shellWord("1:" + escaped(argument.value, ":") + ':' + zshAction(argument));
    }
    if (command.takesProgram) {
        text += " \\\n                '1: :(--)'";
    }
    return text;
}

// ---- fish

std::string fishOption(const OptionFacts& option, const std::string& condition) {
    std::string text = "complete -c oidcauth -n " + fishWord(condition);
    for (const std::string& name : option.names) {
        const bool isLong = name.rfind("--", 0) == 0;
        text += (isLong ? " -l " : " -s ") + name.substr(isLong ? 2 : 1);
    }
    switch (completionOf(option)) {
        case Completion::words:
            text += fmt::format(" -x -a '{}'", fmt::join(option.words, " "));
            break;
        case Completion::files:
            text += " -r -F";
            break;
        case Completion::profiles:
            text += " -x -a '(__oidcauth_profiles)'";
            break;
        case Completion::variables:
            text += " -x -a '(set -nx)'";
            break;
        default:
            text += option.value.empty() ? "" : " -x";
    }
    return text + " -d " + fishWord(briefOf(option.description)) + '\n';
}

std::string fishOptions(const Description& command, const std::string& condition) {
    std::string text;
    for (const OptionFacts& option : command.options()) {
        text += fishOption(option, condition);
    }
    for (const OptionFacts& argument : command.arguments) {
        if (completionOf(argument) == Completion::files) {
            text += fmt::format("complete -c oidcauth -n {} -F\n", fishWord(condition));
        }
    }
    if (command.takesProgram) {
        text += fmt::format("complete -c oidcauth -n {} -a --\n", fishWord(condition));
    }
    return text;
}

}  // namespace

std::string bashTree(const Description& command) {
    std::string text = "        '')\n            cat <<'END'\n";
    for (const Description& part : command.subcommands) {
        text += part.name + '\n';
    }
    text += "END\n            ;;\n";
    text += bashOptions("-", command);
    for (const Description& part : command.subcommands) {
        text += bashOptions(part.name, part);
    }
    return text;
}

std::string zshTree(const Description& command) {
    std::string text = "    local -a commands=(\n";
    for (const Description& part : command.subcommands) {
        text += "        " + shellWord(part.name + ':' + escaped(part.summary, ":\\")) + '\n';
    }
    text += "    )\n    case $1 in\n        -)\n            _arguments -s -S : " +
            zshArguments(command).substr(1) +
            " \\\n                '1: :_describe -t commands command commands' '*:: : '\n"
            "            ;;\n";
    for (const Description& part : command.subcommands) {
        text += fmt::format("        {})\n            _arguments -s -S :{}\n            ;;\n",
                            part.name, zshArguments(part));
    }
    return text + "    esac\n";
}

std::string fishTree(const Description& command) {
    std::string text = fishOptions(command, "__oidcauth_in -");
    for (const Description& part : command.subcommands) {
        text += fmt::format("complete -c oidcauth -n '__oidcauth_in -' -a {} -d {}\n", part.name,
                            fishWord(part.summary));
    }
    for (const Description& part : command.subcommands) {
        text += fishOptions(part, "__oidcauth_in " + part.name);
    }
    return text;
}

}  // namespace manual
