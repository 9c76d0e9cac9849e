#include "tool/Commands.h"
#include "tool/Options.h"
#include "tool/Output.h"
#include "tool/WaitingPermit.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

namespace tool {

namespace {

/// No refresh that is under way shall store a token afterwards. Not for ever: somebody may have
/// gone away from a sign-in.
void waitForTurn(auth::IPermitLock& lock) {
    constexpr std::chrono::milliseconds interval{50};
    const auto end = std::chrono::steady_clock::now() + WaitingPermit::limit;
    while (!lock.tryLock() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(interval);
    }
}

void runLogout(const RecordOptions& record) {
    const auto store = record.openStore();
    std::vector<std::uint8_t> bytes;
    store->read(bytes, false);
    if (bytes.empty()) {
        print("No token was stored");
        return;
    }
    const auto lock = record.permit()->createLock();
    waitForTurn(*lock);
    store->clear();
    print("The stored token is removed");
}

}  // namespace

void addLogout(CLI::App& app, std::function<void()>& chosen) {
    const auto record = std::make_shared<RecordOptions>();
    CLI::App* const command =
        app.add_subcommand("logout",
                           "Remove what is stored for a client, if anything is\n"
                           "The provider is not told: the browser stays signed in there.");
    record->addTo(*command, false);
    command->callback([record, &chosen] { chosen = [record] { runLogout(*record); }; });
}

}  // namespace tool
