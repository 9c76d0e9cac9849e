#include "auth/COIDCHelper.h"
#include "host/standalone/TokenStoreError.h"
#include "tool/Commands.h"
#include "tool/Options.h"
#include "tool/Output.h"
#include "tool/SignInMark.h"

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace tool {

namespace {

/// Whether there is something to remove, even if it is damaged.
bool isKept(RecordStore& store) {
    std::vector<std::uint8_t> bytes;
    try {
        store.read(bytes, true);
    } catch (const standalone::DamagedSecret&) {
        return true;
    }
    return !bytes.empty();
}

void runLogout(const RecordOptions& record) {
    auto store = record.makeStore();
    const bool wasKept = isKept(*store);
    SignInMark(record.signInMark()).remove();
    if (!wasKept) {
        print("No token was stored");
        return;
    }
    auth::COIDCHelper(std::move(store), record.permit(), nullptr).signOut();
    print("The stored token is removed");
}

}  // namespace

void addLogout(CLI::App& app, std::function<void()>& chosen) {
    const auto record = std::make_shared<RecordOptions>();
    CLI::App* const command =
        app.add_subcommand("logout",
                           "Remove the stored tokens of a client\n"
                           "The provider is not notified: the browser stays signed in there. If "
                           "nothing is stored, the command succeeds.");
    record->addTo(*command);
    command->callback([record, &chosen] { chosen = [record] { runLogout(*record); }; });
}

}  // namespace tool
