#include "host/standalone/FilePermit.h"
#include "host/standalone/TokenStoreError.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <list>
#include <memory>

namespace fs = std::filesystem;

using standalone::FilePermit;
using standalone::TokenStoreError;
using test::ChildProcess;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace {

class FilePermitTest : public testing::Test {
protected:
    std::unique_ptr<auth::IPermitLock> newLock() const {
        return FilePermit::make(m_file)->createLock();  // which the permit does not outlive
    }
    bool isFree() const { return newLock()->tryLock(); }

    test::TemporaryFolder m_folder;
    fs::path m_file = standalone::lockFileOf(m_folder.path() / "made" / "token");
};

TEST_F(FilePermitTest, IsHeldByOneLockAtATime) {
    const std::shared_ptr<auth::IExclusivePermit> permit = FilePermit::make(m_file);
    auto first = permit->createLock();
    auto second = permit->createLock();
    EXPECT_FALSE(fs::exists(m_file.parent_path())) << "nothing is made before it is needed";
    EXPECT_TRUE(first->tryLock());
    EXPECT_TRUE(first->tryLock());
    EXPECT_FALSE(second->tryLock());
    second.reset();  // never held it: the first one still does
    EXPECT_FALSE(permit->createLock()->tryLock());
    EXPECT_FALSE(isFree()) << "another permit of the same file";
    first.reset();
    EXPECT_TRUE(isFree());

    EXPECT_EQ(m_file.filename(), "token.lock");
    EXPECT_EQ(static_cast<unsigned>(fs::status(m_file).permissions()), 0600U);
    EXPECT_EQ(static_cast<unsigned>(fs::status(m_file.parent_path()).permissions()), 0700U);
}

TEST_F(FilePermitTest, ComesBackWithTheEndOfItsHolder) {
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

TEST_F(FilePermitTest, StaysWithTheProcessThatTookIt) {
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

TEST_F(FilePermitTest, ExcludesProcesses) {
    constexpr int times = 50;
    const auto counter = m_folder.path() / "counter";
    std::list<ChildProcess> children;
    for (int i = 0; i < 4; ++i) {
        children.emplace_back([&](const ChildProcess&) {
            for (int taken = 0; taken < times;) {
                if (const auto lock = newLock(); lock->tryLock()) {
                    int value = 0;
                    std::ifstream(counter) >> value;
                    std::ofstream(counter) << value + 1;
                    ++taken;
                }
            }
            return EXIT_SUCCESS;
        });
    }
    for (auto& child : children) {
        EXPECT_EQ(child.end(), 0);
    }
    int value = 0;
    std::ifstream(counter) >> value;
    EXPECT_EQ(value, 4 * times);
}

TEST_F(FilePermitTest, RefusesLockFilesThatOthersCouldHold) {
    EXPECT_THROW(FilePermit::make(m_folder.path() / ""), TokenStoreError);
    isFree();
    ASSERT_EQ(::chmod(m_file.c_str(), 0604), 0);
    EXPECT_THAT([&] { isFree(); },
                ThrowsMessage<TokenStoreError>(HasSubstr("set its mode to 0600")));
    fs::remove(m_file);
    fs::create_symlink(m_folder.path() / "missing", m_file);
    EXPECT_THAT([&] { isFree(); }, ThrowsMessage<TokenStoreError>(HasSubstr("symbolic link")));
    EXPECT_FALSE(fs::exists(m_folder.path() / "missing"));
}

}  // namespace
