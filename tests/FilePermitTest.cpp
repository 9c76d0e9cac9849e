#include "host/standalone/FilePermit.h"
#include "tests/support/Common.h"
#include "tests/support/Permit.h"
#include "tests/support/Privacy.h"
#include "tests/support/StoreFailure.h"
#include "tests/support/TemporaryFolder.h"

namespace fs = std::filesystem;

using standalone::FilePermit;

namespace {

class FilePermitTest : public testing::Test {
protected:
    std::unique_ptr<auth::IPermitLock> newLock() const {
        return FilePermit::make(m_file)->createLock();  // which the permit does not outlive
    }
    bool isFree() const { return newLock()->tryLock(); }

    test::TemporaryFolder m_folder;
    fs::path m_file = standalone::lockFileOf(m_folder.path() / "made" / "token.v2");
};

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
