#include "tool/Authorities.h"

#include "tool/ExitCode.h"

namespace tool {

/// The system's HTTP client cannot trust an authority for a single process. Ignoring its check
/// would send secrets before anybody has checked the certificate.
void trustAuthorities(const std::filesystem::path& /*file*/) {
    throw UsageError(
        "--ca-file: not supported on Windows, which trusts the authorities in its certificate "
        "stores; add this one there: certutil -user -addstore Root FILE");
}

void restoreAuthorities() {}

}  // namespace tool
