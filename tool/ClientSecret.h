#pragma once

#include "host/CString.h"
#include "tool/FilePath.h"

#include <istream>
#include <string>

namespace tool {

/// The environment variable that is read if no source is given.
constexpr const char* clientSecretVariable = "OIDCAUTH_CLIENT_SECRET";

/// The source of a client secret. Never the command line, because every user of the machine can
/// read the command line of every process.
struct ClientSecretSource {
    FilePath file;
    std::string environmentVariable;
    bool standardInput = false;
};

/// Reads the secret from the given source, or else from that variable. One line end after the
/// secret is removed. Throws UsageError if there is no secret.
CString readClientSecret(const ClientSecretSource& source, std::istream& standardInput);

}  // namespace tool
