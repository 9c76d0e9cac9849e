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
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

using standalone::FilePermit;
using test::ChildProcess;

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

TEST_F(FilePermitTest, ComesBackWhenItsHolderEnds) {
    enum class End { Returns, IsKilled, BecomesAnotherProgram };
    for (const End end : {End::Returns, End::IsKilled, End::BecomesAnotherProgram}) {
        ChildProcess holder([&](const ChildProcess& self) {
            const auto lock = newLock();
            if (!lock->tryLock()) {
                return EXIT_FAILURE;
            }
            self.tell();
            self.await();
            if (end == End::BecomesAnotherProgram) {
                ::execlp("sleep", "sleep", "600", nullptr);
            }
            return EXIT_SUCCESS;
        });
        ASSERT_TRUE(holder.told());
        EXPECT_FALSE(isFree());
        if (end == End::IsKilled) {
            holder.kill();
        } else {
            holder.order();
            EXPECT_FALSE(holder.told());  // returns with its end, or when it is the other program
        }
        EXPECT_TRUE(isFree());
    }
}

TEST_F(FilePermitTest, StaysWithTheProcessThatTookIt) {
    auto lock = newLock();
    ASSERT_TRUE(lock->tryLock());
    ChildProcess fork([&](const ChildProcess& self) {
        self.tell();
        self.await();
        return EXIT_SUCCESS;
    });
    ChildProcess forkThatTidies([&](const ChildProcess&) {
        lock.reset();
        return EXIT_SUCCESS;
    });
    EXPECT_EQ(forkThatTidies.end(), 0);
    EXPECT_FALSE(isFree()) << "a forked process has given it back";
    lock.reset();
    EXPECT_TRUE(isFree()) << "a forked process has kept it";
    EXPECT_TRUE(fork.told());
}

TEST_F(FilePermitTest, ExcludesProcessesAndThreads) {
    constexpr int processes = 4;
    constexpr int times = 25;
    const auto counter = m_folder.path() / "counter";
    std::ofstream(counter) << 0;
    const auto count = [&] {
        for (int taken = 0; taken < times;) {
            if (const auto lock = newLock(); lock->tryLock()) {
                int value = 0;
                std::ifstream(counter) >> value;
                std::ofstream(counter) << value + 1;
                ++taken;
            } else {
                std::this_thread::yield();
            }
        }
    };
    std::list<ChildProcess> children;
    for (int i = 0; i < processes; ++i) {
        children.emplace_back([&](const ChildProcess& self) {
            self.await();  // so that they also make folder and file at the same time
            std::thread other(count);
            count();
            other.join();
            return EXIT_SUCCESS;
        });
    }
    for (const auto& child : children) {
        child.order();
    }
    for (auto& child : children) {
        EXPECT_EQ(child.end(), 0);
    }
    int value = 0;
    std::ifstream(counter) >> value;
    EXPECT_EQ(value, processes * 2 * times);
}

TEST_F(FilePermitTest, RefusesLockFilesThatOthersCouldHold) {
    const auto folder = m_file.parent_path();
    struct Case {
        const char* text;
        std::function<void()> prepare;  // in an empty folder of mode 0700
    };
    const std::vector<Case> cases{
        {"/token.lock: is a symbolic link",
         [&] { fs::create_symlink(folder / "missing", m_file); }},
        {"/token.lock: is not a regular file",
         [&] { ASSERT_EQ(::mkfifo(m_file.c_str(), 0600), 0); }},
        {"/token.lock: is open to other users; set its mode to 0600",
         [&] {
             std::ofstream(m_file) << "";
             ASSERT_EQ(::chmod(m_file.c_str(), 0604), 0);
         }},
        {"/token.lock: cannot be opened", [&] { fs::create_directory(m_file); }},
        {": is open to other users; set its mode to 0700",
         [&] { ASSERT_EQ(::chmod(folder.c_str(), 0750), 0); }},
        {": is a symbolic link or no folder",
         [&] {
             fs::rename(folder, m_folder.path() / "elsewhere");
             fs::create_directory_symlink(m_folder.path() / "elsewhere", folder);
         }},
    };
    for (const auto& each : cases) {
        fs::remove_all(folder);
        ASSERT_EQ(::mkdir(folder.c_str(), 0700), 0);
        each.prepare();
        EXPECT_THAT([&] { newLock()->tryLock(); },
                    testing::ThrowsMessage<standalone::TokenStoreError>(
                        testing::HasSubstr(folder.string() + each.text)));
    }
    EXPECT_THROW(FilePermit::make(m_folder.path() / ""), standalone::TokenStoreError);
}

}  // namespace
