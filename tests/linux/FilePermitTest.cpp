#include "tests/support/ChildProcess.h"
#include "tests/support/LockFile.h"
#include "tests/support/StoreFailure.h"

namespace fs = std::filesystem;

using test::ChildProcess;

namespace {

using PosixFilePermit = test::LockFile;

TEST_F(PosixFilePermit, ComesBackWithTheEndOfItsHolder) {
    for (const bool killed : {true, false}) {
        ChildProcess holder([&](const ChildProcess& self) {
            const auto lock = newLock();
            if (lock->tryLock()) {
                self.tell();
                return killed ? ::pause() : ::execlp("sleep", "sleep", "600", nullptr);
            }
            return EXIT_FAILURE;
        });
        ASSERT_TRUE(holder.told());
        if (killed) {
            EXPECT_FALSE(isFree());
            holder.kill();
        } else {
            EXPECT_FALSE(holder.told()) << "is the other program now";
        }
        EXPECT_TRUE(isFree());
    }
}

TEST_F(PosixFilePermit, StaysWithTheProcessThatTookIt) {
    auto lock = newLock();
    ASSERT_TRUE(lock->tryLock());
    const ChildProcess lives([](const ChildProcess&) { return ::pause(); });
    ChildProcess tidies([&](const ChildProcess&) {
        lock.reset();
        return EXIT_SUCCESS;
    });
    EXPECT_EQ(tidies.end(), 0);
    EXPECT_FALSE(isFree()) << "a forked process has given it back";
    lock.reset();
    EXPECT_TRUE(isFree()) << "a forked process has kept it";
}

TEST_F(PosixFilePermit, RefusesLinks) {
    isFree();
    fs::remove(m_file);
    fs::create_symlink(m_folder.path() / "missing", m_file);
    EXPECT_THAT([&] { isFree(); }, test::fails("symbolic link"));
    EXPECT_FALSE(fs::exists(m_folder.path() / "missing"));
}

}  // namespace
