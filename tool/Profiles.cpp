#include "host/standalone/LogSinks.h"
#include "host/standalone/TokenStoreError.h"
#include "tool/Commands.h"
#include "tool/ConfigFile.h"
#include "tool/ExitCode.h"
#include "tool/FolderNames.h"
#include "tool/Options.h"
#include "tool/Output.h"
#include "tool/Settings.h"
#include "tool/Table.h"
#include "tool/TokenClaims.h"
#include "tool/TokenRecord.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tool {

namespace {

using web::json::value;

/// One profile with the state of its token.
struct Listed {
    std::string name;
    bool isDefault = false;
    std::string client;
    std::string provider;
    std::string store;
    std::string state;  ///< for people and for programs
    std::string problem;
    std::optional<auth::COIDCToken> token;
};

void lookAtToken(const RecordOptions& record, Listed& listed) {
    std::vector<std::uint8_t> bytes;
    record.openStore()->read(bytes, false);
    if (bytes.empty()) {
        listed.state = "none";
        return;
    }
    listed.token = tokenIn(bytes);
    if (!listed.token) {
        listed.state = "damaged";
        return;
    }
    const bool isExpired = listed.token->willBeExpiredAfter(0);
    const bool canRefresh = !listed.token->refreshToken().IsEmpty();
    listed.state = !isExpired ? "valid" : canRefresh ? "refreshable" : "expired";
}

/// Uses only the profile itself: the list shows the file, regardless of the environment.
Listed lookAt(const ConfigFile& file, const std::string& name) {
    Listed listed;
    listed.name = name;
    listed.isDefault = name == file.defaultProfile();
    CLI::App scratch;
    RecordOptions record;
    record.addTo(scratch);
    SettingsOf settings(scratch);
    try {
        settings.fill(file.profile(name));
        record.provider.profile = name;
        listed.client = record.clientId;
        listed.provider = record.provider.url();
        listed.store = record.storeName();
        lookAtToken(record, listed);
    } catch (const standalone::DamagedSecret&) {
        listed.state = "damaged";
    } catch (const std::exception& error) {
        listed.state = "unusable";
        listed.problem = settings.attributed(outcomeOf(std::current_exception()).message);
    }
    return listed;
}

std::string stateText(const Listed& listed) {
    if (!listed.problem.empty()) {
        return listed.problem;
    }
    if (!listed.token) {
        return listed.state == "none" ? "no token" : "a damaged token";
    }
    const std::string expiry = timestamp(listed.token->expiresAt());
    const std::string text = listed.state == "valid"         ? "valid until " + expiry
                             : listed.state == "refreshable" ? "expired, will be refreshed"
                                                             : "expired " + expiry;
    return listed.token->idToken().IsEmpty() ? text : userOf(*listed.token) + ", " + text;
}

std::string tableOf(const std::vector<Listed>& profiles) {
    Table table;
    for (const Listed& listed : profiles) {
        table.add({(listed.isDefault ? "* " : "  ") + listed.name, listed.client, listed.provider,
                   stateText(listed)});
    }
    // Each profile stays on one line, so that it can be found with grep.
    return table.text(0, false);
}

value jsonOf(const std::vector<Listed>& profiles) {
    std::vector<value> list;
    for (const Listed& listed : profiles) {
        auto entry = value::object(true);
        entry[_XPLATSTR("profile")] = jsonText(listed.name);
        entry[_XPLATSTR("default")] = value::boolean(listed.isDefault);
        entry[_XPLATSTR("client_id")] = jsonText(listed.client);
        entry[_XPLATSTR("config_url")] = jsonText(listed.provider);
        entry[_XPLATSTR("store")] = jsonText(listed.store);
        entry[_XPLATSTR("token")] = jsonText(listed.state);
        if (!listed.problem.empty()) {
            entry[_XPLATSTR("problem")] = jsonText(listed.problem);
        }
        if (listed.token) {
            entry[_XPLATSTR("expires_at")] = jsonText(timestamp(listed.token->expiresAt()));
            entry[_XPLATSTR("subject")] =
                jsonText(listed.token->idTokenClaims().subject().value_or(""));
        }
        list.push_back(entry);
    }
    return value::array(list);
}

struct ProfilesOptions {
    bool json = false;
    bool names = false;
};

void runProfiles(const ProfilesOptions& options) {
    const ConfigFile file = ConfigFile::load();
    if (options.names) {
        for (const std::string& name : file.profiles()) {
            print(standalone::redact(name));
        }
        return;
    }
    std::vector<Listed> profiles;
    for (const std::string& name : file.profiles()) {
        profiles.push_back(lookAt(file, name));
    }
    if (options.json) {
        print(jsonOf(profiles));
    } else if (profiles.empty()) {
        const std::string place = file.location().u8string();
        print(place.empty() ? "No home directory to look for profiles in"
                            : "No profiles in " + place);
    } else {
        print(tableOf(profiles));
    }
}

}  // namespace

void addProfiles(CLI::App& app, std::function<void()>& chosen) {
    const auto options = std::make_shared<ProfilesOptions>();
    CLI::App* const command = app.add_subcommand(
        "profiles", std::string("List the profiles with the state of their tokens\n"
                                "A profile is a section of ") +
                        folderNames().usualConfigFile +
                        ". A star marks the default profile. The providers are not contacted.");
    addJson(*command, options->json, "Print the list as JSON");
    command
        ->add_flag("--names", options->names,
                   "Print only the names, one per line; the tokens are not read")
        ->excludes(command->get_option("--json"));
    command->footer(
        "Example: a file with one profile\n"
        "  default-profile = \"work\"\n"
        "\n"
        "  [work]\n"
        "  issuer = \"https://id.example\"\n"
        "  client-id = \"editor\"\n"
        "  scopes = \"openid offline_access files:read\"\n"
        "  login-hint = \"ada@example.com\"");
    command->callback([options, &chosen] { chosen = [options] { runProfiles(*options); }; });
}

}  // namespace tool
