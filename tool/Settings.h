#pragma once

#include <CLI/CLI.hpp>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// An option that may also stand in an environment variable, or in a profile.
struct Setting {
    enum class Kind { text, words, texts, path, number, flag };

    std::string_view name;  ///< that of the long option, without its hyphens
    Kind kind;
};

/// None where no option, or one for the command line only, has that name.
const Setting* findSetting(std::string_view name);

/// The environment variable of a setting: OIDCAUTH_CONFIG_URL of config-url.
std::string variableOf(std::string_view name);

/// A setting's value from elsewhere than the command line.
struct Given {
    std::string name;
    std::vector<std::string> values;  ///< none for a flag that is off
    std::string source;               ///< for people: the variable, or file, line and key
};

using Layer = std::vector<Given>;

/// What the environment gives. Throws UsageError for a flag that is neither on nor off.
Layer environmentLayer();

/// The options of a command, filled from several layers after the command line was read. The layer
/// that comes first wins.
class SettingsOf {
public:
    explicit SettingsOf(CLI::App& command);

    /// Fills what no earlier layer has given, and what excludes nothing that one has. Throws
    /// UsageError for values that are not allowed, and for two of this layer that exclude each
    /// other.
    void fill(const Layer& layer);

    /// Whether the command has the option.
    bool takes(const std::string& name) const { return m_options.count(name) > 0; }
    /// Whether it has, and something has been given for it.
    bool has(const std::string& name) const;
    /// The value that was given for an option of one, or nothing.
    std::string valueOf(const std::string& name) const;

    /// A message about an option as one about the place that its value comes from.
    std::string attributed(const std::string& message) const;

private:
    bool isRival(const CLI::Option* one, const CLI::Option* other) const;

    std::map<std::string, CLI::Option*> m_options;
    std::map<std::string, std::string> m_sources;
    std::map<const CLI::Option*, const CLI::App*> m_alternatives;  ///< one of a group at most
};

}  // namespace tool
