#include "tool/ConfigFile.h"

#include "tool/ExitCode.h"
#include "tool/OtherWriters.h"
#include "tool/UserFolders.h"

#define TOML_EXCEPTIONS 1
#include <toml++/toml.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <ios>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

namespace tool {

namespace {

using std::filesystem::path;
using Kind = Setting::Kind;

constexpr const char* defaultKey = "default-profile";

/// A key with its value and line number.
struct Entry {
    std::string name;
    const toml::node* value;
    std::size_t line;
};

/// In the order of the file.
std::vector<Entry> entriesOf(const toml::table& table) {
    std::vector<Entry> entries;
    for (const auto& [key, value] : table) {
        entries.push_back({std::string(key.str()), &value, key.source().begin.line});
    }
    std::stable_sort(entries.begin(), entries.end(),
                     [](const Entry& one, const Entry& other) { return one.line < other.line; });
    return entries;
}

/// Empty if there is no file. A file that others can write is refused: it decides where the user
/// signs in and where tokens are sent.
std::optional<std::string> contentOf(const path& file) {
    constexpr std::size_t longest = std::size_t{1} << 20U;
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        return std::nullopt;
    }
    const auto refuse = [&file](const std::string& reason) {
        throw UsageError(file.u8string() + ": " + reason);
    };
    if (status.type() != std::filesystem::file_type::regular) {
        refuse(error ? "cannot be examined: " + error.message() : "is not a file");
    }
    if (const auto remedy = remedyForOtherWriters(file)) {
        refuse("can be written by other users; " + *remedy);
    }
    std::ifstream stream(file, std::ios::binary);
    std::string text(longest + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(stream.gcount()));
    if (!stream.is_open() || stream.bad()) {
        refuse("cannot be read");
    }
    if (text.size() > longest) {
        refuse("is larger than 1 MiB");
    }
    return text;
}

bool isSecret(const std::string& name) {
    std::string lower = name;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    });
    const std::array words{"secret", "password", "token"};
    return std::any_of(words.begin(), words.end(), [&lower](const char* word) {
        return lower.find(word) != std::string::npos;
    });
}

std::optional<std::vector<std::string>> textsOf(const toml::node& node) {
    if (const auto* const text = node.as_string()) {
        return std::vector<std::string>{text->get()};
    }
    const auto* const list = node.as_array();
    if (list == nullptr || list->empty()) {
        return std::nullopt;
    }
    std::vector<std::string> texts;
    for (const toml::node& item : *list) {
        const auto* const text = item.as_string();
        if (text == nullptr) {
            return std::nullopt;
        }
        texts.push_back(text->get());
    }
    return texts;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

/// An empty text would count as missing, and a text with a NUL would be cut there.
bool isEmptyOrCut(const std::string& text) {
    return text.empty() || text.find('\0') != std::string::npos;
}

}  // namespace

class ConfigFile::Reader {
public:
    explicit Reader(path file) : m_file(std::move(file)) {}

    ConfigFile read(const std::string& text) const {
        ConfigFile config;
        const toml::table table = parse(text);
        for (const Entry& entry : entriesOf(table)) {
            if (const auto* const section = entry.value->as_table()) {
                if (entry.name.empty()) {
                    refuse(entry.line, "a profile needs a name");
                }
                config.m_profiles.emplace_back(entry.name, layerOf(*section));
            } else if (entry.name == defaultKey) {
                config.m_default = defaultProfile(entry);
                config.m_defaultSource = at(entry.line) + defaultKey;
            } else {
                refuseKey(entry, findSetting(entry.name) != nullptr
                                     ? "belongs in the section of a profile"
                                     : "no such key");
            }
        }
        const auto isDefault = [&config](const auto& item) {
            return item.first == config.m_default;
        };
        if (!config.m_default.empty() &&
            std::none_of(config.m_profiles.begin(), config.m_profiles.end(), isDefault)) {
            throw UsageError(config.m_defaultSource + ": no profile of that name");
        }
        return config;
    }

private:
    toml::table parse(const std::string& text) const {
        try {
            return toml::parse(text);
        } catch (const toml::parse_error& error) {
            refuse(error.source().begin.line, std::string(error.description()));
        }
    }

    [[noreturn]] void refuse(std::size_t line, const std::string& reason) const {
        throw UsageError(at(line) + reason);
    }

    std::string at(std::size_t line) const {
        return m_file.u8string() + ':' + std::to_string(line) + ": ";
    }

    /// A key with unusual characters may itself be a secret: it is not shown.
    [[noreturn]] void refuseKey(const Entry& entry, const std::string& reason) const {
        const bool isName = entry.name.find_first_not_of(
                                "abcdefghijklmnopqrstuvwxyz-_"
                                "ABCDEFGHIJKLMNOPQRSTUVWXYZ") == std::string::npos;
        if (isName && isSecret(entry.name)) {
            refuse(entry.line, entry.name +
                                   ": a secret does not belong here; put it in a file and set "
                                   "client-secret-file to the file's name");
        }
        refuse(entry.line, (isName ? entry.name + ": " : "") + reason);
    }

    std::string defaultProfile(const Entry& entry) const {
        const auto* const name = entry.value->as_string();
        if (name == nullptr) {
            refuse(entry.line, std::string(defaultKey) + ": must be the name of a profile");
        }
        return name->get();
    }

    Layer layerOf(const toml::table& section) const {
        Layer layer;
        for (const Entry& entry : entriesOf(section)) {
            const Setting* const setting = findSetting(entry.name);
            if (setting == nullptr || entry.name == "profile") {
                refuseKey(entry, "no such key");
            }
            layer.push_back(
                {entry.name, valuesOf(entry, setting->kind), at(entry.line) + entry.name});
        }
        return layer;
    }

    std::vector<std::string> valuesOf(const Entry& entry, Kind kind) const {
        const auto require = [&](bool fulfilled, const char* needed) {
            if (!fulfilled) {
                refuse(entry.line, entry.name + ": must be " + needed);
            }
        };
        if (kind == Kind::flag) {
            const auto* const flag = entry.value->as_boolean();
            require(flag != nullptr, "true or false");
            return flag->get() ? std::vector<std::string>{"true"} : std::vector<std::string>{};
        }
        if (kind == Kind::number) {
            const auto* const number = entry.value->as_integer();
            require(number != nullptr, "a whole number");
            return {std::to_string(number->get())};
        }
        const bool mayBeList = kind == Kind::words || kind == Kind::texts;
        auto texts = textsOf(*entry.value);
        require(texts && (mayBeList || !entry.value->is_array()),
                mayBeList ? "a string, or a list of strings" : "a string");
        require(std::none_of(texts->begin(), texts->end(), isEmptyOrCut),
                "a string that is neither empty nor contains NUL");
        if (kind == Kind::words) {
            return {joined(*texts)};
        }
        if (kind == Kind::path) {  // relative to this file, wherever the command is called
            return {(m_file.parent_path() / withHome(std::filesystem::u8path(texts->front())))
                        .u8string()};
        }
        return *texts;
    }

    path m_file;
};

ConfigFile ConfigFile::load() {
    ConfigFile config;
    if (const auto folder = configFolder()) {
        const path file = *folder / "config.toml";
        if (const auto text = contentOf(file)) {
            config = Reader(file).read(*text);
        }
        config.m_path = file;
    }
    return config;
}

std::vector<std::string> ConfigFile::profiles() const {
    std::vector<std::string> names;
    for (const auto& [name, layer] : m_profiles) {
        names.push_back(name);
    }
    return names;
}

const Layer& ConfigFile::profile(const std::string& name) const {
    const auto found = std::find_if(m_profiles.begin(), m_profiles.end(),
                                    [&name](const auto& item) { return item.first == name; });
    if (found == m_profiles.end()) {
        throw UsageError(m_path.empty()
                             ? "--profile: no home directory to look for profiles in"
                             : "--profile: no profile of that name in " + m_path.u8string());
    }
    return found->second;
}

}  // namespace tool
