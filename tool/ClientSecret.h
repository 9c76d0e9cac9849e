#pragma once

#include "host/CString.h"

#include <filesystem>
#include <istream>
#include <string>

namespace tool {

/// Where a client secret comes from. Never the command line: every user of the machine can read
/// that of every process.
struct ClientSecretSource {
    std::filesystem::path file;
    std::string environmentVariable;
    bool standardInput = false;
};

/// Reads the secret from the one source that is set, or else from OIDCAUTH_CLIENT_SECRET. One line
/// end behind it is not part of it. Throws UsageError when there is none.
CString readClientSecret(const ClientSecretSource& source, std::istream& standardInput);

}  // namespace tool
