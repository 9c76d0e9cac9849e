#include "host/standalone/LogSinks.h"
#include "tool/Arguments.h"
#include "tool/CommandTree.h"
#include "tool/Descriptors.h"
#include "tool/ExitCode.h"
#include "tool/FailureReport.h"
#include "tool/Output.h"
#include "tool/ProcessEnd.h"
#include "tool/Settings.h"
#include "tool/Surroundings.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstring>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using tool::ExitCode;

/// Whether a failure is to be printed as JSON, even if the command line cannot be parsed.
bool asksForJson(int argc, char** argv) {
    std::string previous;
    return std::any_of(argv, argv + argc, [&previous](const std::string& argument) {
        const bool isFormat = std::exchange(previous, argument) == "--output";
        return argument == "--json" || argument == "--output=json" ||
               (isFormat && argument == "json");
    });
}

ExitCode report(const std::exception_ptr& failure, bool asJson) {
    const tool::Outcome outcome = tool::outcomeOf(failure);
    // The text can come from the provider, and must not control the terminal.
    std::cerr << (asJson ? tool::textOf(tool::reportOf(failure, outcome))
                         : "oidcauth: " + standalone::redact(outcome.message))
              << '\n';
    return outcome.code;
}

// An unknown argument may be a secret whose option was misspelt. Only names of options are shown,
// since standard error often ends up in a log.

std::string unexpected(const std::vector<std::string>& arguments) {
    std::string text = "unexpected:";
    for (const std::string& argument : arguments) {
        // Anything after the name in the same argument is not shown.
        const auto end = argument.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-");
        const bool isOption = argument.rfind("--", 0) == 0;
        text += ' ' + (isOption ? argument.substr(0, end) : "(a value)");
    }
    return text;
}

template <class T>
bool is(const CLI::Error& error) {
    return dynamic_cast<const T*>(&error) != nullptr;
}

std::string textOf(const CLI::App* app, const CLI::Error& error) {
    if (is<CLI::ExtrasError>(error)) {
        return unexpected(app->remaining(true)) +
               (app->got_subcommand("exec") ? "; put -- before the program" : "");
    }
    if (is<CLI::ValidationError>(error)) {
        const std::string text = error.what();  // the option, a colon, and the value
        return text.substr(0, text.find(':')) + ": that value is not allowed";
    }
    if (is<CLI::ConversionError>(error)) {
        return "a value cannot be parsed";
    }
    return error.what();  // these texts only have names of options
}

std::string usageMessage(const CLI::App* app, const CLI::Error& error, bool asJson) {
    if (asJson) {
        const std::string text = textOf(app, error);
        const auto failure = std::make_exception_ptr(tool::UsageError(text));
        return tool::textOf(tool::reportOf(failure, {ExitCode::Usage, text})) + '\n';
    }
    return "oidcauth: " + textOf(app, error) + "\nRun with --help for more information.\n";
}

/// Removes the words after "--" from the arguments: they are a program with its arguments, and not
/// for the parser.
std::vector<std::string> takeProgram(int& argc, char** argv) {
    char** const end = argv + argc;
    char** const mark = std::find_if(
        argv, end, [](const char* argument) { return std::strcmp(argument, "--") == 0; });
    if (mark == end) {
        return {};
    }
    argc = static_cast<int>(mark - argv);
    return {mark + 1, end};
}

/// An unset variable in quotes gives an empty argument, for example. The parser can loop for ever
/// on one, and no option needs one.
void refuseEmptyArguments(int argc, char** argv) {
    if (std::any_of(argv, argv + argc, [](const char* argument) { return *argument == '\0'; })) {
        throw CLI::ArgumentMismatch("an argument is empty");
    }
}

/// Runs the command after setting the options that the command line left open. Its errors say where
/// a value was set.
void run(const std::function<void()>& command, CLI::App& chosen) {
    tool::SettingsOf settings(chosen);
    try {
        tool::fillFromSurroundings(settings);
        tool::requireDescriptors();
        command();
    } catch (const tool::UsageError& error) {
        throw tool::UsageError(settings.attributed(error.what()));
    }
}

ExitCode run(int argc, char** argv) {
    const std::vector<std::string> program = takeProgram(argc, argv);
    const bool asJson = asksForJson(argc, argv);
    std::function<void()> command;
    const auto app = tool::makeCommandTree(program, command);
    app->failure_message([asJson](const CLI::App* parsed, const CLI::Error& error) {
        return usageMessage(parsed, error, asJson);
    });
    try {
        try {
            refuseEmptyArguments(argc, argv);
            app->parse(argc, argv);
            if (!program.empty() && !tool::takesProgram(*app->get_subcommands().front())) {
                throw CLI::ArgumentMismatch("only exec takes a program after --");
            }
        } catch (const CLI::ParseError& error) {
            if (app->exit(error) != 0) {
                return ExitCode::Usage;
            }
            tool::flushOutput();  // help, or the version
            return ExitCode::Success;
        }
        run(command, *app->get_subcommands().front());
        return ExitCode::Success;
    } catch (...) {
        return report(std::current_exception(), asJson);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (!tool::reserveStandardStreams()) {
        return static_cast<int>(ExitCode::Unexpected);  // there may be no place to say why
    }
    tool::surviveFailedWrites();
    auto arguments = tool::argumentsOf(argc, argv);
    std::vector<char*> words;
    words.reserve(arguments.size());
    for (std::string& argument : arguments) {
        words.push_back(argument.data());
    }
    const ExitCode code = run(static_cast<int>(words.size()), words.data());
    if (code == ExitCode::Interrupted) {
        std::cerr.flush();
        tool::endAtOnce(code);  // an abandoned request may still wait for the network
    }
    return static_cast<int>(code);
}
