#include "tool/Settings.h"

#include "tool/Environment.h"
#include "tool/ExitCode.h"

#include <algorithm>
#include <array>
#include <optional>

namespace tool {

namespace {

using Kind = Setting::Kind;

constexpr std::array settings{
    Setting{"profile", Kind::text},
    Setting{"config-url", Kind::text},
    Setting{"issuer", Kind::text},
    Setting{"client-id", Kind::text},
    Setting{"scopes", Kind::words},
    Setting{"min-validity", Kind::number},
    Setting{"store", Kind::path},
    Setting{"keyring", Kind::flag},
    Setting{"no-store", Kind::flag},
    Setting{"ca-file", Kind::path},
    Setting{"redirect-url", Kind::texts},
    Setting{"no-browser", Kind::flag},
    Setting{"login-hint", Kind::text},
    Setting{"prompt", Kind::text},
    Setting{"authorization-parameter", Kind::texts},
    Setting{"client-secret-file", Kind::path},
    Setting{"client-secret-env", Kind::text},
};

std::optional<bool> flagOf(const std::string& text) {
    const std::array on{"1", "true", "yes", "on"};
    const std::array off{"0", "false", "no", "off"};
    if (std::find(on.begin(), on.end(), text) != on.end()) {
        return true;
    }
    return std::find(off.begin(), off.end(), text) != off.end() ? std::make_optional(false)
                                                                : std::nullopt;
}

bool isFlag(const CLI::Option& option) {
    return option.get_items_expected_max() == 0;
}

void set(CLI::Option& option, const Given& given) {
    try {
        if (isFlag(option)) {
            option.add_result("true");
        } else {
            option.add_result(given.values);
        }
        option.run_callback();
    } catch (const CLI::ParseError&) {  // its text has the value, perhaps a misplaced secret
        throw UsageError(given.source + ": that value is not allowed");
    }
}

}  // namespace

const Setting* findSetting(std::string_view name) {
    const auto* const found =
        std::find_if(settings.begin(), settings.end(),
                     [name](const Setting& setting) { return setting.name == name; });
    return found == settings.end() ? nullptr : found;
}

std::string variableOf(std::string_view name) {
    std::string variable = "OIDCAUTH_";
    for (const char letter : name) {
        variable += letter == '-' ? '_' : static_cast<char>(letter - 'a' + 'A');
    }
    return variable;
}

Layer environmentLayer() {
    Layer layer;
    for (const Setting& setting : settings) {
        const std::string source = variableOf(setting.name);
        const std::string value = variable(source);
        if (value.empty()) {  // as if it were not set
            continue;
        }
        Given given{std::string(setting.name), {value}, source};
        if (setting.kind == Kind::flag) {
            const auto flag = flagOf(value);
            if (!flag) {
                throw UsageError(source + ": must be 1 or 0");
            }
            if (!*flag) {
                given.values.clear();
            }
        }
        layer.push_back(std::move(given));
    }
    return layer;
}

SettingsOf::SettingsOf(CLI::App& command) {
    const auto addAll = [this](const CLI::App& group, const std::vector<CLI::Option*>& options) {
        for (CLI::Option* const option : options) {
            for (const std::string& name : option->get_lnames()) {
                m_options[name] = option;
            }
            if (group.get_require_option_max() == 1) {
                m_alternatives[option] = &group;
            }
        }
    };
    addAll(command, command.get_options());
    for (CLI::App* const group : command.get_subcommands({})) {
        addAll(*group, group->get_options());
    }
}

bool SettingsOf::isRival(const CLI::Option* one, const CLI::Option* other) const {
    const auto group = m_alternatives.find(one);
    const auto othersGroup = m_alternatives.find(other);
    const auto excludes = one->get_excludes();
    return one != other &&
           (std::any_of(excludes.begin(), excludes.end(),
                        [other](const CLI::Option* option) { return option == other; }) ||
            (group != m_alternatives.end() && othersGroup != m_alternatives.end() &&
             group->second == othersGroup->second));
}

void SettingsOf::fill(const Layer& layer) {
    std::vector<const CLI::Option*> before;
    for (const auto& [name, option] : m_options) {
        if (option->count() > 0) {  // a flag that is off excludes nothing
            before.push_back(option);
        }
    }
    std::vector<std::pair<const CLI::Option*, std::string>> filled;
    for (const Given& given : layer) {
        const auto found = m_options.find(given.name);
        if (found == m_options.end() || has(given.name)) {
            continue;
        }
        CLI::Option* const option = found->second;
        const auto isRivalOf = [&](const CLI::Option* other) { return isRival(option, other); };
        if (!given.values.empty()) {
            if (std::any_of(before.begin(), before.end(), isRivalOf)) {
                continue;
            }
            for (const auto& [other, source] : filled) {
                if (isRivalOf(other)) {
                    throw UsageError(given.source + ": cannot be used together with " + source);
                }
            }
            set(*option, given);
            filled.emplace_back(option, given.source);
        }
        m_sources[given.name] = given.source;
    }
}

bool SettingsOf::has(const std::string& name) const {
    const auto found = m_options.find(name);
    return found != m_options.end() && (found->second->count() > 0 || m_sources.count(name) > 0);
}

std::string SettingsOf::valueOf(const std::string& name) const {
    const auto found = m_options.find(name);
    return found != m_options.end() && found->second->count() > 0 ? found->second->as<std::string>()
                                                                  : "";
}

std::string SettingsOf::attributed(const std::string& message) const {
    const std::string hyphens = "--";
    const auto end = message.find(':');
    if (message.rfind(hyphens, 0) != 0 || end == std::string::npos) {
        return message;
    }
    const auto source = m_sources.find(message.substr(hyphens.size(), end - hyphens.size()));
    return source == m_sources.end() ? message : source->second + message.substr(end);
}

}  // namespace tool
