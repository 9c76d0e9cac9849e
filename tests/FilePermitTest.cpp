#include "tests/support/LockFile.h"
#include "tests/support/Permit.h"
#include "tests/support/Privacy.h"
#include "tests/support/StoreFailure.h"

namespace fs = std::filesystem;

using standalone::FilePermit;

namespace {

using FilePermitTest = test::LockFile;

TEST_F(FilePermitTest, IsHeldByOneLockAtATime) {
    const std::shared_ptr<auth::IExclusivePermit> permit = FilePermit::make(m_file);
    auto lock = permit->createLock();
    EXPECT_FALSE(fs::exists(m_file.parent_path())) << "nothing is made before it is needed";
    test::expectOneHolderAtATime(*permit);
    EXPECT_TRUE(lock->tryLock());
    EXPECT_FALSE(isFree()) << "another permit of the same file";

    EXPECT_EQ(m_file.filename(), "token.v2.lock");
    EXPECT_TRUE(test::isClosedToOthers(m_file));
    EXPECT_TRUE(test::isClosedToOthers(m_file.parent_path()));
}

TEST_F(FilePermitTest, RefusesLockFilesThatOthersCouldHold) {
    EXPECT_THAT([&] { FilePermit::make(m_folder.path() / ""); }, test::fails());
    isFree();
    test::openToOthers(m_file);
    EXPECT_THAT([&] { isFree(); }, test::fails("is open to other users"));
    fs::remove(m_file);
    fs::create_directory(m_file);
    test::closeToOthers(m_file);
    EXPECT_THAT([&] { isFree(); }, test::fails());
}

}  // namespace
