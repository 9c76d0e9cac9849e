#pragma once

#include "host/CString.h"
#include "tool/FilePath.h"

#include <istream>
#include <string>

namespace tool {

/// The environment variable of a secret whose source is not given.
constexpr const char* clientSecretVariable = "OIDCAUTH_CLIENT_SECRET";

/// Where a client secret comes from. Never the command line: every user of the machine can read
/// that of every process.
struct ClientSecretSource {
    FilePath file;
    std::string environmentVariable;
    bool standardInput = false;
};

/// Reads the secret from the one source that is set, or else from that variable. One line
/// end behind it is not part of it. Throws UsageError when there is none.
CString readClientSecret(const ClientSecretSource& source, std::istream& standardInput);

}  // namespace tool
