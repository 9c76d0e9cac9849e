#include "host/standalone/FilePermit.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/windows/OtherProcess.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

using test::OtherProcess;

namespace {

std::unique_ptr<auth::IPermitLock> lockOf(const fs::path& file) {
    return standalone::FilePermit::make(file)->createLock();
}

TEST(WindowsFilePermit, DISABLED_Holds) {
    const auto file = OtherProcess::file();
    const auto lock = lockOf(file);
    if (lock->tryLock()) {
        test::tell(file, ".held");
        test::told(file, ".end");
    }
}

TEST(WindowsFilePermit, IsHeldUntilItsHolderEnds) {
    for (const bool killed : {true, false}) {
        const test::TemporaryFolder folder;
        const auto file = folder.path() / L"\u00e4" / "token.lock";
        auto lock = lockOf(file);
        ASSERT_TRUE(lock->tryLock());
        auto holder = std::make_unique<OtherProcess>("WindowsFilePermit.DISABLED_Holds", file);
        holder->end();
        EXPECT_FALSE(fs::exists(test::beside(file, ".held"))) << "it is held here";
        lock.reset();
        holder = std::make_unique<OtherProcess>("WindowsFilePermit.DISABLED_Holds", file);
        ASSERT_TRUE(test::told(file, ".held"));
        EXPECT_FALSE(lockOf(file)->tryLock());
        if (!killed) {
            test::tell(file, ".end");
            holder->end();
        }
        holder.reset();
        EXPECT_TRUE(test::eventually([&] { return lockOf(file)->tryLock(); }));
    }
}

}  // namespace
