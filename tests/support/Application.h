#pragma once

#include "auth/COIDCHelper.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/MemoryStore.h"

#include <memory>
#include <utility>

namespace test {

/// A helper, and what it was given.
struct Application {
    std::unique_ptr<auth::COIDCHelper> makeHelper(
        std::shared_ptr<auth::IExclusivePermit> by) const {
        return std::make_unique<auth::COIDCHelper>(std::make_unique<MemoryStore>(content),
                                                   std::move(by), CapturedLog::loggerTo(log));
    }

    static bool isFree(auth::IExclusivePermit& permit) { return permit.createLock()->tryLock(); }
    bool permitsAreFree() const {
        return isFree(*auth::COIDCHelper::getProcessExclusivePermit()) && isFree(*permit);
    }

    std::shared_ptr<StoreContent> content = std::make_shared<StoreContent>();
    std::shared_ptr<CapturedLog> log = std::make_shared<CapturedLog>();
    std::shared_ptr<auth::IExclusivePermit> permit = auth::COIDCHelper::makeExclusivePermit();
    std::unique_ptr<auth::COIDCHelper> helper = makeHelper(permit);
};

}  // namespace test
