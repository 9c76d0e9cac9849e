#pragma once

#include "host/standalone/FilePermit.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace test {

/// Permits of one lock file, in a folder that does not exist yet.
class LockFile : public testing::Test {
protected:
    std::unique_ptr<auth::IPermitLock> newLock() const {
        // The lock outlives its permit.
        return standalone::FilePermit::make(m_file)->createLock();
    }
    bool isFree() const { return newLock()->tryLock(); }

    TemporaryFolder m_folder;
    std::filesystem::path m_file = standalone::lockFileOf(m_folder.path() / "made" / "token.v2");
};

}  // namespace test
