// A plugin that an application loads and unloads, and that gets its tokens with the library.

#include "tests/support/LocalPort.h"
#include "tests/support/MemoryStore.h"
#include "tests/support/Outcome.h"

namespace {

using Concurrency::cancellation_token_source;

/// Whether the library worked. Cancelled requests may still be running afterwards.
bool use(const std::string& configUrl, const std::string& silentUrl) {
    auth::COIDCHelper helper(
        std::make_unique<test::MemoryStore>(std::make_shared<test::StoreContent>()),
        auth::COIDCHelper::makeExclusivePermit(), nullptr);
    const bool served =
        !helper.getAccessTokenClientCredentials(configUrl, "client", "secret", "a b", 0).IsEmpty();

    const cancellation_token_source inSignIn;
    helper.setBrowserOpener([&](const CString& /*url*/) {
        inSignIn.cancel();
        return true;
    });
    const auto signIn = helper.getAccessTokenHybridAsync(
        configUrl, "user", "openid", {test::freeRedirectUrl()}, 0, inSignIn.get_token(), true);
    const bool signInEnded = test::outcome([&] { signIn.get(); }) == "cancelled";

    const cancellation_token_source inExchange;
    const auto exchange = helper.getAccessTokenClientCredentialsAsync(
        silentUrl, "other", "secret", "a b", 0, inExchange.get_token());
    inExchange.cancel();
    return test::outcome([&] { exchange.get(); }) == "cancelled" && signInEnded && served;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) bool useLibrary(const char* configUrl,
                                                                  const char* silentUrl) {
    return test::outcome([&] { return use(configUrl, silentUrl); }) == "accepted";
}
