#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <utility>
#include <vector>

namespace tool {

/// The options for a user's sign-in.
struct SignInOptions {
    /// Free on most machines: outside the range that systems use for automatic ports.
    std::vector<std::string> redirectUrls{"http://127.0.0.1:17419/callback",
                                          "http://127.0.0.1:23419/callback",
                                          "http://127.0.0.1:28419/callback"};
    bool noBrowser = false;
    std::string loginHint;
    std::string prompt;
    std::vector<std::string> authorizationParameters;  // NAME=VALUE

    void addTo(CLI::App& command);

    // These throw UsageError for invalid values.

    void check() const;
    /// The names and values to add to the URL of the sign-in page.
    std::vector<std::pair<std::string, std::string>> parameters() const;
};

}  // namespace tool
