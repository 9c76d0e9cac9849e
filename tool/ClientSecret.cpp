#include "tool/ClientSecret.h"

#include "tool/ExitCode.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace tool {

namespace {

constexpr const char* defaultVariable = "OIDCAUTH_CLIENT_SECRET";

std::string readAll(std::istream& in, const std::string& name) {
    std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (in.bad()) {
        throw UsageError("cannot read the client secret from " + name);
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
    std::ifstream file(path, std::ios::binary);
    if (!file || std::filesystem::is_directory(path)) {
        throw UsageError("cannot open the client secret file " + path.string());
    }
    return readAll(file, path.string());
}

std::string readVariable(const std::string& name) {
    const char* const value = std::getenv(name.c_str());  // NOLINT(concurrency-mt-unsafe)
    if (value == nullptr) {
        throw UsageError("the environment variable " + name + " is not set");
    }
    return value;
}

std::string readText(const ClientSecretSource& source, std::istream& standardInput) {
    if (!source.file.empty()) {
        return readFile(source.file);
    }
    if (source.standardInput) {
        return readAll(standardInput, "standard input");
    }
    if (!source.environmentVariable.empty()) {
        return readVariable(source.environmentVariable);
    }
    if (std::getenv(defaultVariable) == nullptr) {  // NOLINT(concurrency-mt-unsafe)
        throw UsageError(std::string("no client secret: give --client-secret-file, "
                                     "--client-secret-env or --client-secret-stdin, or set ") +
                         defaultVariable);
    }
    return readVariable(defaultVariable);
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
