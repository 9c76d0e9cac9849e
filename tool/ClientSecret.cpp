#include "tool/ClientSecret.h"

#include "tool/Environment.h"
#include "tool/ExitCode.h"

#include <cstddef>
#include <fstream>
#include <ios>
#include <optional>
#include <stdexcept>

namespace tool {

namespace {

// The user may have given the secret itself where a name belongs, so the messages only name the
// option.

std::string readAll(std::istream& in, const std::string& option) {
    constexpr std::size_t longest = std::size_t{64} * 1024;
    std::string text(longest + 1, '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(in.gcount()));
    if (in.bad()) {
        throw UsageError(option + ": cannot be read");
    }
    if (text.size() > longest) {
        throw UsageError(option + ": too long for a secret");
    }
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
        if (!text.empty() && text.back() == '\r') {
            text.pop_back();
        }
    }
    return text;
}

std::string readFile(const std::filesystem::path& path) {
    constexpr const char* option = "--client-secret-file";
    std::ifstream file(path, std::ios::binary);
    if (!file || std::filesystem::is_directory(path)) {
        throw UsageError(std::string(option) + ": cannot open that file");
    }
    return readAll(file, option);
}

std::string readText(const ClientSecretSource& source, std::istream& standardInput) {
    if (!source.file.empty()) {
        return readFile(source.file);
    }
    if (source.standardInput) {
        return readAll(standardInput, "--client-secret-stdin");
    }
    const bool isNamed = !source.environmentVariable.empty();
    const auto text = readVariable(isNamed ? source.environmentVariable : clientSecretVariable);
    if (!text) {
        throw UsageError(isNamed ? "--client-secret-env: that variable is not set"
                                 : std::string("no client secret: give --client-secret-file, "
                                               "--client-secret-env or --client-secret-stdin, or "
                                               "set ") +
                                       clientSecretVariable);
    }
    return *text;
}

}  // namespace

CString readClientSecret(const ClientSecretSource& source, std::istream& standardInput) {
    const std::string text = readText(source, standardInput);
    if (text.empty()) {
        throw UsageError("the client secret is empty");
    }
    try {
        return {text};
    } catch (const std::range_error&) {
        throw UsageError("the client secret is not UTF-8 text");
    }
}

}  // namespace tool
