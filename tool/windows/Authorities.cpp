#include "tool/Authorities.h"

#include "tool/ExitCode.h"

namespace tool {

/// The system's HTTP client has no authorities of a single process. To leave the check to it and
/// overlook what it finds would be to send secrets before anybody has looked.
void trustAuthorities(const std::filesystem::path& /*file*/) {
    throw UsageError(
        "--ca-file: not supported on Windows, which trusts the authorities in its certificate "
        "stores; add this one there: certutil -user -addstore Root FILE");
}

void restoreAuthorities() {}

}  // namespace tool
