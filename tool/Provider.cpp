#include "host/standalone/LogSinks.h"
#include "tool/Commands.h"
#include "tool/Fetch.h"
#include "tool/Interrupt.h"
#include "tool/Options.h"
#include "tool/Output.h"
#include "tool/ProviderChecks.h"

#include <cpprest/http_msg.h>
#include <fmt/format.h>

#include <algorithm>
#include <iterator>
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
    std::string use;  // empty: either will do
    bool json = false;
};

class Examination {
public:
    std::vector<Check> examine(const ProviderOptions& options) {
        const Interrupt interrupt(m_source);
        const auto configuration = fetch(Use::any, "configuration", options.address.url(), {});
        if (!configuration) {
            return std::move(m_checks);
        }
        append(checkConfiguration(*configuration, options.address.url(), options.scopes));
        if (const auto url = signingKeysUrl(*configuration)) {
            const auto keySet =
                fetch(Use::login, "key set", *url, _XPLATSTR("application/jwk-set+json"));
            append(keySet ? checkSigningKeys(*keySet) : std::vector<Check>());
        }
        return std::move(m_checks);
    }

private:
    void append(const std::vector<Check>& checks) {
        m_checks.insert(m_checks.end(), checks.begin(), checks.end());
    }

    /// The document, or nothing where the check of it has failed.
    std::optional<value> fetch(Use use, const char* name, const std::string& url,
                               const utility::string_t& otherType) {
        const bool isFirst = m_checks.empty();
        std::optional<value> document;
        Check check{use, Result::missing, name, "a JSON document", url};
        try {
            document = fetchJson(url, otherType, m_source.get_token());
            check.result = Result::ok;
        } catch (const web::http::http_exception& error) {
            if (isFirst && error.error_code()) {
                throw;  // nothing can be said about a provider that is not reached
            }
            check.found = error.what();
        } catch (const web::json::json_exception& error) {
            check.found = error.what();
        }
        append({check});
        return document;
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
        list.push_back(entry);
    }
    auto report = value::object(true);
    report[_XPLATSTR("checks")] = value::array(list);
    report[_XPLATSTR("login")] = value::boolean(serves(checks, Use::login));
    report[_XPLATSTR("service_token")] = value::boolean(serves(checks, Use::serviceToken));
    return report;
}

std::string section(const std::vector<Check>& checks, Use use, const std::string& title) {
    std::string lines;
    for (const Check& check : checks) {
        if (check.use == use) {
            lines += standalone::redact(fmt::format("  {:<8} {}: needs {}; found {}",
                                                    nameOf(check.result), check.name, check.needs,
                                                    check.found)) +
                     '\n';
        }
    }
    return lines.empty() ? "" : title + '\n' + lines;
}

std::string describe(const std::vector<Check>& checks) {
    const auto answer = [&checks](Use use) { return serves(checks, use) ? "yes" : "no"; };
    return section(checks, Use::any, "In any case:") +
           section(checks, Use::login, "For people (login):") +
           section(checks, Use::serviceToken, "For services (service-token):") +
           fmt::format("\nPeople can sign in: {}\nServices get tokens: {}", answer(Use::login),
                       answer(Use::serviceToken));
}

void runProvider(const ProviderOptions& options) {
    options.address.prepare();
    const auto checks = Examination().examine(options);
    if (options.json) {
        print(jsonOf(checks));
    } else {
        print(describe(checks));
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
        "Fetches its configuration and keys, and says check by check whether it offers what\n"
        "people (login) and services (service-token) need. MISSING is what they cannot do\n"
        "without; what is advised may still work without. Whether the client is registered, and\n"
        "whether access tokens are JWTs that name it, only a request for a token shows.");
    options->address.addTo(*command);
    command->add_option("--scopes", options->scopes, "The scopes that will be asked for")
        ->type_name("SCOPES");
    command->add_option("--for", options->use, "Succeed only if it serves this command")
        ->check(CLI::IsMember({login, serviceToken}))
        ->type_name("COMMAND");
    addJson(*command, options->json, "Print the checks as JSON");
    command->callback([options, &chosen] { chosen = [options] { runProvider(*options); }; });
}

}  // namespace tool
