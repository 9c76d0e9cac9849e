#pragma once

#include <CLI/CLI.hpp>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// An option that can also be set in an environment variable or in a profile.
struct Setting {
    enum class Kind { text, words, texts, path, number, flag };

    std::string_view name;  ///< the name of the long option, without its hyphens
    Kind kind;
};

/// Null if no option, or only one for the command line, has that name.
const Setting* findSetting(std::string_view name);

/// The environment variable of a setting, for example OIDCAUTH_CONFIG_URL for config-url.
std::string variableOf(std::string_view name);

/// A setting's value that does not come from the command line.
struct Given {
    std::string name;
    std::vector<std::string> values;  ///< empty for a flag that is off
    std::string source;               ///< for people: the variable, or file, line and key
};

using Layer = std::vector<Given>;

/// The settings in the environment. Throws UsageError for a flag that is neither on nor off.
Layer environmentLayer();

/// The options of a command, filled from several layers after the command line has been parsed.
/// Earlier layers take precedence.
class SettingsOf {
public:
    explicit SettingsOf(CLI::App& command);

    /// Sets the options that no earlier layer has set and that exclude none of those. Throws
    /// UsageError for invalid values, and if two settings of this layer exclude each other.
    void fill(const Layer& layer);

    /// Whether the command has the option.
    bool takes(const std::string& name) const { return m_options.count(name) > 0; }
    /// Whether the command has the option and it has been set.
    bool has(const std::string& name) const;
    /// The value of an option with one value; empty if it has not been set.
    std::string valueOf(const std::string& name) const;

    /// Adds to a message about an option the place where its value was set.
    std::string attributed(const std::string& message) const;

private:
    bool isRival(const CLI::Option* one, const CLI::Option* other) const;

    std::map<std::string, CLI::Option*> m_options;
    std::map<std::string, std::string> m_sources;
    std::map<const CLI::Option*, const CLI::App*> m_alternatives;  ///< groups that allow one option
};

}  // namespace tool
