#include "tool/OptionFacts.h"

#include "tool/Settings.h"

#include <algorithm>
#include <set>
#include <sstream>

namespace tool {

namespace {

/// The set is ordered by address, so its order differs in each run.
std::vector<std::string> namesOf(const std::set<CLI::Option*>& options) {
    std::vector<std::string> names;
    names.reserve(options.size());
    for (const CLI::Option* const option : options) {
        if (!isHidden(*option)) {
            names.push_back("--" + option->get_single_name());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

bool isHidden(const CLI::Option& option) {
    return option.get_group().empty();
}

OptionFacts::OptionFacts(const CLI::Option& option)
    : standard(option.get_default_str()),
      isPositional(option.get_positional()),
      isRepeatable(option.get_expected_max() >= CLI::detail::expected_max_vector_size ||
                   option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll),
      rivals(namesOf(option.get_excludes())),
      companions(namesOf(option.get_needs())),
      description(option.get_description()) {
    if (isPositional) {
        names.push_back(option.get_name(true));
    }
    for (const std::string& name : option.get_snames()) {
        names.push_back('-' + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
        variable = findSetting(name) == nullptr ? "" : variableOf(name);
    }
    if (option.get_items_expected_max() == 0) {  // a flag
        return;
    }
    const std::string type = option.get_type_name();
    value = isPositional ? option.get_name(true) : type.substr(0, type.find(':'));
    const auto begin = type.find('{');
    const auto end = type.find('}');
    if (begin == std::string::npos || end == std::string::npos) {
        return;
    }
    takesOtherWords = false;
    std::istringstream list(type.substr(begin + 1, end - begin - 1));
    for (std::string word; std::getline(list, word, ',');) {
        if (word == "...") {
            takesOtherWords = true;
        } else {
            words.push_back(word);
        }
    }
}

}  // namespace tool
