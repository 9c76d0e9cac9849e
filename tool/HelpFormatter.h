#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace tool {

/// The layout of --help.
class HelpFormatter final : public CLI::Formatter {
public:
    std::string make_description(const CLI::App* command) const override;
    std::string make_usage(const CLI::App* command, std::string name) const override;
    /// A group of options under its own heading.
    std::string make_expanded(const CLI::App* group) const override;
    /// Lists a subcommand by the first line of its description.
    std::string make_subcommand(const CLI::App* command) const override;
    std::string make_option_name(const CLI::Option* option, bool isPositional) const override;
    std::string make_option_opts(const CLI::Option* option) const override;
    std::string make_option_desc(const CLI::Option* option) const override;
};

}  // namespace tool
