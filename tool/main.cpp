#include "host/standalone/LogSinks.h"
#include "oidcauth/version.h"
#include "tool/Commands.h"
#include "tool/Descriptors.h"
#include "tool/ExitCode.h"
#include "tool/FailureReport.h"
#include "tool/Output.h"
#include "tool/Settings.h"
#include "tool/Surroundings.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using tool::ExitCode;

constexpr const char* exitCodes =
    "Exit codes: 0 success, 1 system, 2 usage, 3 sign-in needed, 4 the provider refused or\n"
    "answered wrongly, 5 network, 6 token store, 130 interrupted. The program that exec runs\n"
    "ends it with its own.\n"
    "What is not given on the command line is taken from the environment, then from a\n"
    "profile in ~/.config/oidcauth/config.toml, where it has the long option's name.\n"
    "Proxies are taken from http_proxy, https_proxy, all_proxy and no_proxy.";

/// Lists a subcommand by the first line of its description.
class Formatter final : public CLI::Formatter {
public:
    std::string make_subcommand(const CLI::App* command) const override {
        const std::string description = command->get_description();
        std::ostringstream line;
        CLI::detail::format_help(line, command->get_name(),
                                 description.substr(0, description.find('\n')), get_column_width());
        return line.str();
    }

    std::string make_option_opts(const CLI::Option* option) const override {
        const std::string name = option->get_lnames().empty() ? "" : option->get_lnames().front();
        return CLI::Formatter::make_option_opts(option) +
               (tool::findSetting(name) == nullptr ? "" : " (" + tool::variableOf(name) + ')');
    }
};

/// Whether what ends the process is to be JSON, even where the command line cannot be read.
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
    // It can hold text of the provider, which must not control the terminal.
    std::cerr << (asJson ? tool::textOf(tool::reportOf(failure, outcome))
                         : "oidcauth: " + standalone::redact(outcome.message))
              << '\n';
    return outcome.code;
}

// What was not understood may be a secret whose option was misremembered: only the names of options
// are shown, since standard error often ends up in a log.

std::string unexpected(const std::vector<std::string>& arguments) {
    std::string text = "unexpected:";
    for (const std::string& argument : arguments) {
        // Whatever else stands in one argument with a name is not part of it.
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
               (app->got_subcommand("exec") ? "; the program stands behind --" : "");
    }
    if (is<CLI::ValidationError>(error)) {
        const std::string text = error.what();  // the option, a colon, and the value
        return text.substr(0, text.find(':')) + ": that value is not allowed";
    }
    if (is<CLI::ConversionError>(error)) {
        return "a value is not understood";
    }
    return error.what();  // of the names of options
}

std::string usageMessage(const CLI::App* app, const CLI::Error& error, bool asJson) {
    if (asJson) {
        const std::string text = textOf(app, error);
        const auto failure = std::make_exception_ptr(tool::UsageError(text));
        return tool::textOf(tool::reportOf(failure, {ExitCode::Usage, text})) + '\n';
    }
    return "oidcauth: " + textOf(app, error) + "\nRun with --help for more information.\n";
}

/// A flag takes no value, as in `--json=yes`: the parser would show it.
void refuseFlagValues(CLI::App& app) {
    for (CLI::Option* const option : app.get_options()) {
        option->disable_flag_override();
    }
    for (CLI::App* const part : app.get_subcommands({})) {
        refuseFlagValues(*part);
    }
}

/// What stands behind "--", which is a program with its arguments: none of it is for the parser.
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

/// As of a variable that is not set, in quotes. The parser can go on for ever over one, and no
/// option has a use for it.
void refuseEmptyArguments(int argc, char** argv) {
    if (std::any_of(argv, argv + argc, [](const char* argument) { return *argument == '\0'; })) {
        throw CLI::ArgumentMismatch("an argument is empty");
    }
}

/// The command, with what the command line left open. Its errors name the place of a value.
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
    CLI::App app("Gets OAuth 2.0 and OpenID Connect tokens, and keeps them.", "oidcauth");
    app.formatter(std::make_shared<Formatter>());
    app.set_version_flag("--version", "oidcauth " OIDCAUTH_VERSION);
    app.require_subcommand(1);
    app.footer(exitCodes);
    app.failure_message([asJson](const CLI::App* parsed, const CLI::Error& error) {
        return usageMessage(parsed, error, asJson);
    });
    std::function<void()> command;
    tool::addLogin(app, command);
    tool::addUserTokens(app, command);
    tool::addStatus(app, command);
    tool::addLogout(app, command);
    tool::addServiceToken(app, command);
    tool::addProfiles(app, command);
    tool::addExec(app, program, command);
    tool::addKeep(app, command);
    tool::addProvider(app, command);
    refuseFlagValues(app);
    try {
        try {
            refuseEmptyArguments(argc, argv);
            app.parse(argc, argv);
            if (!program.empty() && !app.got_subcommand("exec")) {
                throw CLI::ArgumentMismatch("only exec takes a program behind --");
            }
        } catch (const CLI::ParseError& error) {
            if (app.exit(error) != 0) {
                return ExitCode::Usage;
            }
            tool::flushOutput();  // help, or the version
            return ExitCode::Success;
        }
        run(command, *app.get_subcommands().front());
        return ExitCode::Success;
    } catch (...) {
        return report(std::current_exception(), asJson);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (!tool::reserveStandardStreams()) {
        return static_cast<int>(ExitCode::Unexpected);  // there may be nowhere to say why
    }
    tool::surviveFailedWrites();
    const ExitCode code = run(argc, argv);
    if (code == ExitCode::Interrupted) {
        // At once: a request that was left alone may still wait for the network.
        std::cerr.flush();
        std::_Exit(static_cast<int>(code));
    }
    return static_cast<int>(code);
}
