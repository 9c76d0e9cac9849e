#include "auth/COIDCHelper.h"
#include "host/CMemoryArchive.h"
#include "host/standalone/TokenStoreError.h"
#include "tool/Commands.h"
#include "tool/Options.h"
#include "tool/Output.h"
#include "tool/TokenReport.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

namespace tool {

namespace {

struct StatusOptions {
    RecordOptions record;
    bool json = false;
};

auth::COIDCToken load(const std::vector<std::uint8_t>& bytes, const std::string& store) {
    try {
        CMemoryArchive archive(bytes);
        auth::COIDCToken token;
        token.Serialize(archive);
        archive.Close();
        return token;
    } catch (const std::exception&) {
        throw standalone::TokenStoreError(store + ": no token record, or a damaged one");
    }
}

void runStatus(const StatusOptions& options) {
    std::vector<std::uint8_t> bytes;
    options.record.openStore()->read(bytes, false);
    if (bytes.empty()) {
        throw auth::RequiresUserAuthException("no token is stored");
    }
    const std::string store = options.record.storeName();
    const auth::COIDCToken token = load(bytes, store);
    if (options.json) {
        print(reportOf(token, store));
    } else {
        print(textOf(token, store));
    }
}

}  // namespace

void addStatus(CLI::App& app, std::function<void()>& chosen) {
    const auto options = std::make_shared<StatusOptions>();
    CLI::App* const command = app.add_subcommand(
        "status",
        "Show what is stored for a client, without secrets\n"
        "That is scopes, expiry, and the claims of the tokens. The provider is not asked.");
    options->record.addTo(*command, false);
    addJson(*command, options->json, "Print it as JSON");
    command->callback([options, &chosen] { chosen = [options] { runStatus(*options); }; });
}

}  // namespace tool
