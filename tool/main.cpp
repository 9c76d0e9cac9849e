#include "tool/Commands.h"
#include "tool/ExitCode.h"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>

namespace {

using tool::ExitCode;

constexpr const char* exitCodes =
    "Exit codes: 0 success, 2 usage, 3 sign-in needed, 4 the provider refused or answered "
    "wrongly,\n"
    "5 network, 6 token store, 130 interrupted.\n"
    "Proxies are taken from http_proxy, https_proxy, all_proxy and no_proxy.";

ExitCode report(const std::exception_ptr& failure) {
    const tool::Outcome outcome = tool::outcomeOf(failure);
    std::cerr << "oidcauth: " << outcome.message << '\n';
    return outcome.code;
}

ExitCode run(int argc, char** argv) {
    CLI::App app("Gets OAuth 2.0 and OpenID Connect tokens, and keeps them.", "oidcauth");
    app.set_version_flag("--version", std::string("oidcauth ") + OIDCAUTH_VERSION);
    app.require_subcommand(1);
    app.footer(exitCodes);
    std::function<void()> command;
    tool::addServiceToken(app, command);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? ExitCode::Success : ExitCode::Usage;
    }
    try {
        command();
        return ExitCode::Success;
    } catch (...) {
        return report(std::current_exception());
    }
}

}  // namespace

int main(int argc, char** argv) {
    const ExitCode code = run(argc, argv);
    if (code == ExitCode::Interrupted) {
        // At once: a request that was left alone may still wait for the network.
        std::cerr.flush();
        std::_Exit(static_cast<int>(code));
    }
    return static_cast<int>(code);
}
