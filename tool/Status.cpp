#include "auth/COIDCHelper.h"
#include "host/standalone/TokenStoreError.h"
#include "tool/Commands.h"
#include "tool/Options.h"
#include "tool/Output.h"
#include "tool/TokenRecord.h"
#include "tool/TokenReport.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tool {

namespace {

struct StatusOptions {
    RecordOptions record;
    bool json = false;
};

void runStatus(const StatusOptions& options) {
    std::vector<std::uint8_t> bytes;
    options.record.openStore()->read(bytes, false);
    if (bytes.empty()) {
        throw auth::RequiresUserAuthException("no token is stored");
    }
    const std::string store = options.record.storeName();
    const auto token = tokenIn(bytes);
    if (!token) {
        throw standalone::TokenStoreError(
            store + ": the token record is damaged; remove it with oidcauth logout");
    }
    if (options.json) {
        print(reportOf(*token, store));
    } else {
        print(textOf(*token, store));
    }
}

}  // namespace

void addStatus(CLI::App& app, std::function<void()>& chosen) {
    const auto options = std::make_shared<StatusOptions>();
    CLI::App* const command = app.add_subcommand(
        "status",
        "Show what is stored for a client, without secrets\n"
        "Scopes, expiry and the claims of the tokens are shown. The provider is not asked.");
    options->record.addTo(*command);
    addJson(*command, options->json, "Print the report as JSON");
    command->callback([options, &chosen] { chosen = [options] { runStatus(*options); }; });
}

}  // namespace tool
