#include "tool/CommandTree.h"

#include "oidcauth/version.h"
#include "tool/Commands.h"
#include "tool/ExitCode.h"
#include "tool/FolderNames.h"
#include "tool/HelpFormatter.h"

#include <fmt/format.h>

namespace tool {

namespace {

std::string footer() {
    std::string text = "Exit codes:\n";
    for (const auto& [code, meaning] : exitCodes()) {
        text += fmt::format("  {:<5}{}\n", static_cast<int>(code), meaning);
    }
    return text +
           "\n"
           "If an option is not given, its variable (shown in brackets) is used, then the key\n"
           "of the same name in the profile, in " +
           folderNames().usualConfigFile +
           ".\n"
           "Proxies are taken from http_proxy, https_proxy, all_proxy and no_proxy.";
}

void settle(CLI::App& app) {
    const bool isGroup = app.get_name().empty();
    if (isGroup) {
        app.set_help_flag();  // its command has one
    }
    // A flag with a value, as in `--json=yes`, is refused by the parser with a message that shows
    // the value.
    for (CLI::Option* const option : app.get_options()) {
        option->disable_flag_override();
    }
    for (CLI::App* const part : app.get_subcommands({})) {
        settle(*part);
    }
}

}  // namespace

std::unique_ptr<CLI::App> makeCommandTree(const std::vector<std::string>& program,
                                          std::function<void()>& chosen) {
    auto app = std::make_unique<CLI::App>("Get OAuth 2.0 and OpenID Connect tokens, and keep them",
                                          "oidcauth");
    app->allow_windows_style_options(false);  // a path that begins with a slash is not an option
    const auto formatter = std::make_shared<HelpFormatter>();
    formatter->label("Positionals", "Arguments");
    app->formatter(formatter);
    app->set_help_flag("-h,--help", "Print this help and exit");
    app->set_version_flag("--version", std::string("oidcauth ") + OIDCAUTH_VERSION,
                          "Print the version and exit");
    app->require_subcommand(1);
    addLogin(*app, chosen);
    addUserTokens(*app, chosen);
    addStatus(*app, chosen);
    addLogout(*app, chosen);
    addServiceToken(*app, chosen);
    addProfiles(*app, chosen);
    addExec(*app, program, chosen);
    addKeep(*app, chosen);
    addProvider(*app, chosen);
    app->footer(footer());  // last, because subcommands would inherit it
    settle(*app);
    return app;
}

bool takesProgram(const CLI::App& command) {
    return command.get_name() == "exec";
}

std::string summaryOf(const CLI::App& command) {
    const std::string description = command.get_description();
    return description.substr(0, description.find('\n'));
}

std::string detailsOf(const CLI::App& command) {
    const std::string description = command.get_description();
    const auto end = description.find('\n');
    return end == std::string::npos ? "" : description.substr(end + 1);
}

}  // namespace tool
