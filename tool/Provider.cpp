#include "tool/ClockCheck.h"
#include "tool/Commands.h"
#include "tool/Fetch.h"
#include "tool/Interrupt.h"
#include "tool/Options.h"
#include "tool/Output.h"
#include "tool/ProviderChecks.h"
#include "tool/Table.h"
#include "tool/Terminal.h"

#include <cpprest/http_msg.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tool {

namespace {

using Use = Check::Use;
using Result = Check::Result;
using web::json::value;

constexpr const char* login = "login";
constexpr const char* serviceToken = "service-token";

struct ProviderOptions {
    ProviderAddress address;
    std::string scopes;
    std::string use;  // empty: either is enough
    bool json = false;
};

class Examination {
public:
    std::vector<Check> examine(const ProviderOptions& options) {
        const Interrupt interrupt(m_source);
        const Asked asked{options.address.url(), options.address.issuer, options.scopes};
        const auto configuration =
            fetch(Use::any, "configuration", asked.configUrl, {},
                  "Give the final URL, usually the issuer URL followed by "
                  "/.well-known/openid-configuration: redirects are not followed.");
        if (!configuration) {
            return std::move(m_checks);
        }
        append(checkConfiguration(configuration->document, asked));
        append(checkClock(*configuration));
        if (const auto url = signingKeysUrl(configuration->document)) {
            const auto keySet =
                fetch(Use::login, "key set", *url, _XPLATSTR("application/jwk-set+json"),
                      "An amended copy of the configuration can name a URL that works; otherwise "
                      "only the provider can correct this.");
            append(keySet ? checkSigningKeys(keySet->document) : std::vector<Check>());
        }
        return std::move(m_checks);
    }

private:
    void append(const std::vector<Check>& checks) {
        m_checks.insert(m_checks.end(), checks.begin(), checks.end());
    }

    /// The document; empty if its check has failed.
    std::optional<FetchedJson> fetch(Use use, const char* name, const std::string& url,
                                     const utility::string_t& otherType, const char* remedy) {
        const bool isFirst = m_checks.empty();
        std::optional<FetchedJson> fetched;
        Check check{use, Result::ok, name, "a JSON document", url, {}};
        const auto fail = [&check, remedy](const std::exception& error) {
            check.result = Result::missing;
            check.found = error.what();
            check.remedy = remedy;
        };
        try {
            fetched = fetchJson(url, otherType, m_source.get_token());
        } catch (const web::http::http_exception& error) {
            if (isFirst && error.error_code()) {
                throw;  // if the provider was not reached, there is nothing to check
            }
            fail(error);
        } catch (const web::json::json_exception& error) {
            fail(error);
        }
        append({check});
        return fetched;
    }

    Concurrency::cancellation_token_source m_source;
    std::vector<Check> m_checks;
};

bool serves(const std::vector<Check>& checks, Use use) {
    return std::none_of(checks.begin(), checks.end(), [use](const Check& check) {
        return check.result == Result::missing && (check.use == Use::any || check.use == use);
    });
}

const char* nameOf(Result result) {
    return result == Result::ok ? "ok" : result == Result::missing ? "MISSING" : "advised";
}

value jsonOf(const std::vector<Check>& checks) {
    std::vector<value> list;
    for (const Check& check : checks) {
        auto entry = value::object(true);
        entry[_XPLATSTR("use")] = check.use == Use::any
                                      ? value()
                                      : jsonText(check.use == Use::login ? login : serviceToken);
        entry[_XPLATSTR("check")] = jsonText(check.name);
        entry[_XPLATSTR("result")] = jsonText(nameOf(check.result));
        entry[_XPLATSTR("needs")] = jsonText(check.needs);
        entry[_XPLATSTR("found")] = jsonText(check.found);
        entry[_XPLATSTR("remedy")] = check.remedy.empty() ? value() : jsonText(check.remedy);
        list.push_back(entry);
    }
    auto report = value::object(true);
    report[_XPLATSTR("checks")] = value::array(list);
    report[_XPLATSTR("login")] = value::boolean(serves(checks, Use::login));
    report[_XPLATSTR("service_token")] = value::boolean(serves(checks, Use::serviceToken));
    return report;
}

Table::Style styleOf(Result result) {
    return result == Result::ok        ? Table::Style::good
           : result == Result::missing ? Table::Style::bad
                                       : Table::Style::fair;
}

void addSection(Table& table, const std::vector<Check>& checks, Use use, const char* title) {
    const auto isMine = [use](const Check& check) { return check.use == use; };
    if (std::none_of(checks.begin(), checks.end(), isMine)) {
        return;
    }
    table.add({{title, Table::Style::heading}});
    for (const Check& check : checks) {
        if (!isMine(check)) {
            continue;
        }
        table.add({{std::string("  ") + nameOf(check.result), styleOf(check.result)},
                   check.name,
                   check.found});
        if (check.result != Result::ok) {
            table.add({"", "", "needs " + check.needs});
            table.add({"", "-> " + check.remedy});
        }
    }
    table.add({""});
}

std::string describe(const std::vector<Check>& checks, const OutputForm& form) {
    Table table;
    addSection(table, checks, Use::any, "In any case");
    addSection(table, checks, Use::login, "For users (login)");
    addSection(table, checks, Use::serviceToken, "For services (service-token)");
    std::string text = table.text(form.width, form.isColoured);

    Table answers;
    const auto answer = [&](const char* question, Use use) {
        const bool isServed = serves(checks, use);
        answers.add({question,
                     {isServed ? "yes" : "no", isServed ? Table::Style::good : Table::Style::bad}});
    };
    answer("Users can sign in:", Use::login);
    answer("Services get tokens:", Use::serviceToken);
    return text + '\n' + answers.text(form.width, form.isColoured);
}

void runProvider(const ProviderOptions& options) {
    options.address.prepare();
    const auto checks = Examination().examine(options);
    if (options.json) {
        print(jsonOf(checks));
    } else {
        print(describe(checks, outputForm()));
    }
    const bool servesPeople = options.use != serviceToken && serves(checks, Use::login);
    const bool servesServices = options.use != login && serves(checks, Use::serviceToken);
    if (!servesPeople && !servesServices) {
        throw std::runtime_error("this provider cannot be used" +
                                 (options.use.empty() ? "" : " for " + options.use));
    }
}

}  // namespace

void addProvider(CLI::App& app, std::function<void()>& chosen) {
    const auto options = std::make_shared<ProviderOptions>();
    CLI::App* const command = app.add_subcommand(
        "provider",
        "Check whether a provider can be used\n"
        "The command fetches the provider's configuration and keys, and checks whether the "
        "provider offers what users (login) and services (service-token) need. MISSING marks a "
        "requirement that is not met; advised marks one that may not matter. Only a request for a "
        "token shows whether the client is registered, and whether access tokens are JWTs that "
        "name it.");
    options->address.addTo(*command);
    command
        ->add_option("--scopes", options->scopes,
                     "The scopes that will be requested, separated by spaces")
        ->type_name("SCOPES");
    command->add_option("--for", options->use, "Succeed only if the provider serves this command")
        ->check(CLI::IsMember({login, serviceToken}))
        ->type_name("COMMAND");
    addJson(*command, options->json, "Print the checks as JSON");
    command->callback([options, &chosen] { chosen = [options] { runProvider(*options); }; });
}

}  // namespace tool
