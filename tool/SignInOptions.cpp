#include "tool/SignInOptions.h"

#include "host/CString.h"
#include "tool/ExitCode.h"
#include "tool/Options.h"

#include <fmt/format.h>

#include <stdexcept>

namespace tool {

namespace {

using Parameters = std::vector<std::pair<std::string, std::string>>;

/// The value of the option may be a secret, and stays out of the message.
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
                     "Where the provider sends its answer: an http URL on this machine that is "
                     "registered with the provider. If it is given several times, the first "
                     "whose port is free is used. Default: path /callback on 127.0.0.1, port "
                     "17419, 23419 or 28419")
        ->type_name("URL")
        ->delimiter(' ')
        ->allow_extra_args(false);
    group->add_flag("--no-browser", noBrowser,
                    "Do not open a browser: print the URL of the sign-in page, and how a browser "
                    "on another machine reaches the redirect URL");
    group
        ->add_option("--login-hint", loginHint,
                     "Tell the provider who will sign in, usually by user name or e-mail address")
        ->type_name("TEXT");
    group
        ->add_option(
            "--prompt", prompt,
            "Make the provider ask the user to sign in (login), to consent (consent) or to choose "
            "an account (select_account), even if it would not ask by itself. With none, the "
            "provider asks nothing, and the sign-in fails if it would have to ask")
        ->type_name("VALUE:{login,consent,select_account,none,...}");
    group
        ->add_option("--authorization-parameter", authorizationParameters,
                     "Add a parameter to the URL of the sign-in page, such as max_age=0. Can be "
                     "given several times. Do not pass secrets: others can read that URL")
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
            if (name == taken) {  // a provider must refuse a repeated parameter
                throw UsageError(fmt::format(
                    "{}: {} is also given by its own option; give only one of them", option, name));
            }
        }
        add(option, name, text.substr(end + 1));
    }
    return parameters;
}

}  // namespace tool
