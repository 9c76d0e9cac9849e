#include "tool/SignInOptions.h"

#include "host/CString.h"
#include "tool/ExitCode.h"
#include "tool/Options.h"

#include <fmt/format.h>

#include <stdexcept>

namespace tool {

namespace {

using Parameters = std::vector<std::pair<std::string, std::string>>;

/// Of an option: what was given may be a secret, and stays out of the message.
void requireUtf8(const std::string& option, const std::string& text) {
    try {
        const CString converted(text);
    } catch (const std::range_error&) {
        throw UsageError(option + ": not UTF-8 text");
    }
}

}  // namespace

void SignInOptions::addTo(CLI::App& command) {
    auto* const group = command.add_option_group("Sign-in");
    group
        ->add_option("--redirect-url", redirectUrls,
                     "Where the provider sends its answer: http, on this machine,\n"
                     "and registered with the provider. Of several the first whose\n"
                     "port is free is taken. Default: path /callback on 127.0.0.1,\n"
                     "port 17419, 23419 or 28419")
        ->type_name("URL")
        ->delimiter(' ')
        ->allow_extra_args(false);
    group->add_flag("--no-browser", noBrowser,
                    "Only print the page to open, and how a browser on another\n"
                    "machine reaches the redirect URL");
    group
        ->add_option("--login-hint", loginHint,
                     "Tell the provider who is to sign in: mostly a user name or\n"
                     "an e-mail address")
        ->type_name("TEXT");
    group
        ->add_option("--prompt", prompt,
                     "Have the provider ask for more than it needs: login, consent\n"
                     "or select_account; or for nothing: none")
        ->type_name("VALUE");
    group
        ->add_option("--authorization-parameter", authorizationParameters,
                     "Add this to the address of the sign-in page, as max_age=0 or\n"
                     "resource=https://api.example/. No secrets: others can read it.\n"
                     "May be given several times")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
}

void SignInOptions::check() const {
    for (const std::string& url : redirectUrls) {
        checkRedirectUrl(url);
    }
}

Parameters SignInOptions::parameters() const {
    Parameters parameters;
    const auto add = [&parameters](const std::string& option, const std::string& name,
                                   const std::string& value) {
        requireUtf8(option, name + value);
        parameters.emplace_back(name, value);
    };
    if (!loginHint.empty()) {
        add("--login-hint", "login_hint", loginHint);
    }
    if (!prompt.empty()) {
        add("--prompt", "prompt", prompt);
    }
    const Parameters ofOptions = parameters;
    for (const std::string& text : authorizationParameters) {
        const std::string option = "--authorization-parameter";
        const auto end = text.find('=');
        if (end == 0 || end == std::string::npos) {
            throw UsageError(option + ": must be NAME=VALUE");
        }
        const std::string name = text.substr(0, end);
        for (const auto& [taken, value] : ofOptions) {
            if (name == taken) {  // a provider that is told one thing twice must refuse
                throw UsageError(
                    fmt::format("{}: {} is given by an option of its own, too", option, name));
            }
        }
        add(option, name, text.substr(end + 1));
    }
    return parameters;
}

}  // namespace tool
