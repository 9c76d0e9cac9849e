#include "tool/ExecCredential.h"

#include "tool/Environment.h"
#include "tool/ExitCode.h"
#include "tool/Output.h"

namespace tool {

namespace {

constexpr const char* infoVariable = "KUBERNETES_EXEC_INFO";

/// Reads the version from the variable's JSON object; empty if it has none.
std::string askedVersion(const std::string& info) {
    try {
        const auto asked = web::json::value::parse(utility::conversions::to_string_t(info));
        const utility::string_t name = _XPLATSTR("apiVersion");
        return asked.has_string_field(name)
                   ? utility::conversions::to_utf8string(asked.at(name).as_string())
                   : "";
    } catch (const std::exception&) {
        throw UsageError(std::string(infoVariable) + " is not JSON");
    }
}

}  // namespace

std::string execCredentialVersion() {
    const std::string group = "client.authentication.k8s.io/";
    const std::string info = variable(infoVariable);
    if (info.empty()) {
        return group + "v1";
    }
    std::string version = askedVersion(info);
    if (version != group + "v1" && version != group + "v1beta1") {
        throw UsageError(std::string(infoVariable) + ": its apiVersion is neither " + group +
                         "v1 nor " + group + "v1beta1");
    }
    return version;
}

web::json::value execCredential(const std::string& version, const std::string& token,
                                const std::optional<auth::COIDCToken::TimePoint>& expiry) {
    using web::json::value;
    auto status = value::object(true);
    if (expiry) {
        status[_XPLATSTR("expirationTimestamp")] = jsonText(timestamp(*expiry));
    }
    status[_XPLATSTR("token")] = jsonText(token);
    auto credential = value::object(true);
    credential[_XPLATSTR("apiVersion")] = jsonText(version);
    credential[_XPLATSTR("kind")] = jsonText("ExecCredential");
    credential[_XPLATSTR("status")] = status;
    return credential;
}

}  // namespace tool
