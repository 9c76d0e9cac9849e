#include "tool/Authorities.h"
#include "tool/ClientSecret.h"
#include "tool/Commands.h"
#include "tool/ExitCode.h"
#include "tool/Program.h"
#include "tool/SourceOptions.h"
#include "tool/TokenFile.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace tool {

namespace {

struct ExecOptions {
    SourceOptions source;
    std::string variable;  // empty: the default
    bool inFile = false;

    std::string variableName() const {
        return !variable.empty() ? variable
                                 : variableOf(source.kind()) + std::string(inFile ? "_FILE" : "");
    }
};

void checkVariable(const std::string& name) {
    constexpr const char* letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_";
    const std::string digits = "0123456789";
    if (name.find_first_not_of(letters + digits) != std::string::npos ||
        digits.find(name.front()) != std::string::npos) {
        throw UsageError("--env: not the name of an environment variable");
    }
}

std::string tokenOf(const SourceOptions& options) {
    const TokenOutput output(options.kind(), OutputFormat::token);
    const auto source = options.open();
    return output.text(freshToken(*source, options.kind(), options.request.minValidity));
}

/// Returns how the program ended.
int runWithFile(Program& program, const Inheritance& inheritance, const std::string& variable,
                const std::string& token) {
    const SignalRelay relay;  // no signal may end this process and leave the file behind
    const PrivateFolder folder;
    const auto file = folder.path() / "token";
    TokenFile(file).replace(token);
    program.set(variable, file.u8string());
    inheritance.restore();
    return program.run(relay);
}

[[noreturn]] void runExec(const ExecOptions& options, const std::vector<std::string>& command) {
    if (command.empty()) {
        throw UsageError("no program is given; put it after --");
    }
    const std::string variable = options.variableName();
    checkVariable(variable);
    const Inheritance inheritance;
    const std::string token = tokenOf(options.source);
    restoreAuthorities();  // no request follows
    Program program(command);
    program.unset(clientSecretVariable);
    if (!options.source.secret.environmentVariable.empty()) {
        program.unset(options.source.secret.environmentVariable);
    }
    if (options.inFile) {
        endLike(runWithFile(program, inheritance, variable, token));
    }
    program.set(variable, token);
    inheritance.restore();
    program.become();
}

}  // namespace

void addExec(CLI::App& app, const std::vector<std::string>& program,
             std::function<void()>& chosen) {
    const auto options = std::make_shared<ExecOptions>();
    CLI::App* const command = app.add_subcommand(
        "exec",
        "Run a program with a fresh token\n"
        "The program gets the token in an environment variable, not on its command line. The token "
        "is not refreshed while the program runs; for that, use oidcauth keep.");
    options->source.addTo(*command);
    options->source.addSignInTo(*command);
    command
        ->add_option("--env", options->variable,
                     "The variable to set. Default: OIDCAUTH_ACCESS_TOKEN, with --id-token "
                     "OIDCAUTH_ID_TOKEN; with --file, the same with _FILE appended")
        ->type_name("VARIABLE");
    command->add_flag(
        "--file", options->inFile,
        "Write the token to a file that only this user can read, and set the variable to the path "
        "of that file; the file is removed when the program ends");
    command->footer(
        "Example: run make with an access token in API_TOKEN\n"
        "  oidcauth exec --env API_TOKEN -- make deploy");
    command->callback([options, program, &chosen] {
        chosen = [options, program] { runExec(*options, program); };
    });
}

}  // namespace tool
