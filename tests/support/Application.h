#pragma once

#include "auth/COIDCHelper.h"
#include "testing/TestProvider.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/LocalPort.h"
#include "tests/support/MemoryStore.h"
#include "tests/support/Outcome.h"
#include "tests/support/Test.h"
#include "tests/support/TestClock.h"
#include "tests/support/TokenRecord.h"
#include "tests/support/User.h"

namespace test {

using namespace std::chrono_literals;
using namespace auth::testing;
using auth::COIDCHelper;
using auth::COIDCToken;
using Concurrency::cancellation_token;
using Concurrency::cancellation_token_source;
using Concurrency::task;

/// A helper and its arguments.
struct Application {
    std::unique_ptr<COIDCHelper> makeHelper(std::shared_ptr<auth::IExclusivePermit> by) const {
        return std::make_unique<COIDCHelper>(std::make_unique<MemoryStore>(content), std::move(by),
                                             CapturedLog::loggerTo(log));
    }

    static bool isFree(auth::IExclusivePermit& permit) { return permit.createLock()->tryLock(); }
    bool permitsAreFree() const {
        return isFree(*COIDCHelper::getProcessExclusivePermit()) && isFree(*permit);
    }

    std::shared_ptr<StoreContent> content = std::make_shared<StoreContent>();
    std::shared_ptr<CapturedLog> log = std::make_shared<CapturedLog>();
    std::shared_ptr<auth::IExclusivePermit> permit = COIDCHelper::makeExclusivePermit();
    std::unique_ptr<COIDCHelper> helper = makeHelper(permit);
};

/// An application, its user and their provider.
class Applications : public ::testing::Test, protected Application {
protected:
    void TearDown() override { helper.reset(); }

    std::size_t tokenRequests() const { return provider.requests(Endpoint::Token).size(); }

    /// For stopped clocks: so far ahead of the provider's that no test catches up with it.
    const std::chrono::system_clock::time_point start = std::chrono::system_clock::now() + 10min;
    TestProvider provider;
    const CString redirectUrl = freeRedirectUrl();
    User user;
};

}  // namespace test
