// A background service that gets its access token with the client credentials grant.
//
//   DEMO_SERVICE_SECRET=... service CONFIGURATION-URL TOKEN-FILE

#include "auth/COIDCHelper.h"
#include "host/standalone/FileTokenStore.h"
#include "host/standalone/LogSinks.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>

namespace {

using LoggingUtilities::CLogger;
using LoggingUtilities::ELogLevel;

std::unique_ptr<auth::COIDCHelper> makeHelper(const char* tokenFile) {
    auto store = std::make_unique<standalone::FileTokenStore<auth::COIDCToken>>(tokenFile);
    const auto log = std::make_shared<CLogger>(
        std::make_shared<standalone::StandardErrorLog>(ELogLevel::Detail));
    return std::make_unique<auth::COIDCHelper>(std::move(store),
                                               auth::COIDCHelper::makeExclusivePermit(), log);
}

}  // namespace

int main(int argc, char** argv) {
    const char* const secret = std::getenv("DEMO_SERVICE_SECRET");
    if (argc != 3 || secret == nullptr) {
        std::cerr << "usage: DEMO_SERVICE_SECRET=... service CONFIGURATION-URL TOKEN-FILE\n";
        return 2;
    }
    try {
        const auto helper = makeHelper(argv[2]);
        constexpr unsigned int minutes = 5;  // the longest time that the token will be needed

        // Call this whenever you need a token: the provider is asked only if the stored token does
        // not stay valid that long. The ...Async form returns a task that can be cancelled.
        const CString token = helper->getAccessTokenClientCredentials(
            argv[1], "demo-service", secret, "api:read api:write", minutes);

        std::cout << token << '\n';
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "no token: " << error.what() << '\n';
        return 1;
    }
}
