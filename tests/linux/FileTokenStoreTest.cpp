#include "host/standalone/FileTokenStore.h"
#include "tests/support/StoreFailure.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Test.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cstdarg>
#include <ctime>

namespace fs = std::filesystem;

using standalone::SecretFile;
using test::fails;

namespace {

using Bytes = std::vector<std::uint8_t>;

std::vector<std::string>* watcher = nullptr;  // receives the calls that make a file durable
int reserveError = 0;
int openings = 0;
std::optional<timespec> timesOfFiles;  // what the system returns for any file

void tell(const char* call) {
    if (watcher != nullptr) {
        watcher->emplace_back(call);
    }
}

class PosixFileTokenStore : public testing::Test {
protected:
    void put(const fs::path& file, std::size_t size, mode_t mode = 0600) const {
        std::ofstream(file) << std::string(size, 'x');
        ASSERT_EQ(::chmod(file.c_str(), mode), 0);
    }

    /// Waits until the file is older than a step of its times. From then on it is not opened any
    /// more.
    static bool comesToBeRemembered(SecretFile& secret) {
        return test::eventually([&] {
            const int before = openings;
            secret.read(false);
            return openings == before;
        });
    }

    const test::TemporaryFolder m_temporary;
    const fs::path m_base = m_temporary.path();
    const fs::path m_folder = m_base / "folder";
    const fs::path m_file = m_folder / "token";
};

TEST_F(PosixFileTokenStore, IsPrivateWhateverTheMask) {
    const auto file = m_base / "a" / "b" / "token";
    const mode_t mask = ::umask(0);
    SecretFile(file).write({7});
    ::umask(mask);
    const auto mode = [](const fs::path& path) {
        return static_cast<unsigned>(fs::status(path).permissions());
    };
    EXPECT_EQ(mode(m_base / "a"), 0700U);
    EXPECT_EQ(mode(file.parent_path()), 0700U);
    EXPECT_EQ(mode(file), 0600U);
}

/// Also if it has returned the record before.
TEST_F(PosixFileTokenStore, RefusesWhatIsNotPrivate) {
    const auto elsewhere = m_base / "elsewhere";
    struct Case {
        std::string text;
        std::function<void(SecretFile&)> change;
        bool isSeenAtOnce = true;
    };
    const auto mode = [](const fs::path& path, mode_t bits) {
        return [=](auto&) { return ::chmod(path.c_str(), bits); };
    };
    const auto inPlace = [&](auto make) {
        return [=](auto&) {
            fs::remove(m_file);
            make(m_file.c_str());
        };
    };
    const std::string openFile = "/folder/token: is open to other users; set its mode to 0600";
    const std::string openFolder = "/folder: is open to other users; set its mode to 0700";
    std::vector<Case> cases{
        {"/folder/token: is a symbolic link",
         [&](auto&) {
             fs::rename(m_file, elsewhere);
             fs::create_symlink(elsewhere, m_file);
         }},
        {"/folder/token: is a symbolic link",
         inPlace([](auto* file) { return ::symlink("missing", file); })},
        {"/folder/token: is not a regular file",
         inPlace([](auto* file) { return ::mkfifo(file, 0600); })},
        {"/folder: is a symbolic link",
         [&](auto&) {
             SecretFile(elsewhere / "token").write({1});
             fs::remove_all(m_folder);
             fs::create_directory_symlink(elsewhere, m_folder);
         }},
        {"/folder: is a symbolic link or no folder",
         [&](auto& secret) {
             secret.clear();
             EXPECT_TRUE(comesToBeRemembered(secret));
             fs::remove(m_folder);
             put(m_folder, 3);
         }},
        {openFile, mode(m_file, 0640)},
        {openFile, mode(m_file, 0602)},
        {"/folder/token: is too large",
         [&](auto&) { fs::resize_file(m_file, SecretFile::maxSize + 1); }},
        // The state of the file does not show it.
        {openFolder, mode(m_folder, 0710), false},
        {openFolder,
         [&](auto& secret) {
             mode(m_folder, 0710)(secret);
             EXPECT_THAT([&] { secret.read(true); }, fails());
         }},
    };
    const auto give = [](const fs::path& path) {
        return [=](auto&) { return ::chown(path.c_str(), 65534, 0); };
    };
    if (::geteuid() == 0) {  // only root can give files away
        cases.push_back({"/folder/token: belongs to another user", give(m_file)});
        cases.push_back({"/folder: belongs to another user", give(m_folder), false});
    }
    for (const auto& [text, change, isSeenAtOnce] : cases) {
        SCOPED_TRACE(text);
        fs::remove_all(m_folder);
        fs::remove_all(elsewhere);
        SecretFile secret(m_file);
        secret.write({1});
        EXPECT_TRUE(comesToBeRemembered(secret));
        change(secret);
        for (int again = 0; again < 2 && isSeenAtOnce; ++again) {
            EXPECT_THAT([&] { secret.read(false); }, fails());
        }
        Bytes bytes{1};
        EXPECT_THAT([&] { standalone::FileTokenStore<int>(m_file).read(bytes, false); },
                    fails(m_base.string() + text));
        EXPECT_TRUE(bytes.empty());
        EXPECT_THAT([&] { secret.write({1}); }, fails(m_base.string() + text));
        EXPECT_THAT([&] { secret.read(false); }, fails());
    }
}

TEST_F(PosixFileTokenStore, IsOnTheDiskBeforeItIsTheRecord) {
    SecretFile secret(m_file);
    secret.write({});
    const auto callsOf = [](auto action) {
        std::vector<std::string> calls;
        watcher = &calls;
        action();
        watcher = nullptr;
        return calls;
    };
    const auto isDurable = testing::ElementsAre("fsync file", "rename", "fsync folder");
    EXPECT_THAT(callsOf([&] { secret.write({1}); }), isDurable);
    secret.prepareWrite();
    EXPECT_THAT(callsOf([&] { secret.write({1}); }), isDurable);
    EXPECT_THAT(callsOf([&] { secret.clear(); }), testing::ElementsAre("unlink", "fsync folder"));
}

TEST_F(PosixFileTokenStore, SeesWhatOthersDoAndOpensNothingElse) {
    SecretFile here(m_file);
    SecretFile there(m_file);
    for (const auto& change : std::vector<std::function<Bytes()>>{
             [&] { return Bytes{}; },
             [&] { return there.write({1}), Bytes{1}; },
             [&] { return here.write({2}), Bytes{2}; },
             [&] { return put(m_file, 1), Bytes{'x'}; },
             [&] {
                 return fs::resize_file(m_file, 2), Bytes({'x', 0});
             },
             [&] { return here.clear(), Bytes{}; },
             [&] { return there.write({3}), Bytes{3}; },
             [&] { return there.clear(), Bytes{}; },
         }) {
        const Bytes expected = change();
        EXPECT_EQ(here.read(false), expected);
        EXPECT_TRUE(comesToBeRemembered(here));
        EXPECT_EQ(here.read(false), expected);
    }
}

/// In one step of the file's times the same file may have had other bytes of the same size.
TEST_F(PosixFileTokenStore, RemembersNothingOfAFileThatHasJustChanged) {
    const auto now = ::time(nullptr);
    for (const auto& [times, isRemembered] : std::vector<std::pair<timespec, bool>>{
             {{now + 3600, 1}, false}, {{now, 0}, false}, {{now - 3600, 1}, true}}) {
        SecretFile secret(m_file);
        secret.write({'-'});
        timesOfFiles = times;
        EXPECT_EQ(secret.read(false), Bytes{'-'});
        put(m_file, 1);
        EXPECT_EQ(secret.read(false), isRemembered ? Bytes{'-'} : Bytes{'x'}) << times.tv_sec - now;
        EXPECT_EQ(secret.read(true), Bytes{'x'});
        put(m_file, 2);
        EXPECT_EQ(secret.read(false), (Bytes{'x', 'x'})) << "the size tells";
        SecretFile(m_file).write({1, 2});
        EXPECT_EQ(secret.read(false), (Bytes{1, 2})) << "the identity tells";
        timesOfFiles.reset();
    }
}

TEST_F(PosixFileTokenStore, TellsWhatTheSystemDoesNotGive) {
    SecretFile secret(m_file);
    reserveError = ENOSPC;
    EXPECT_THAT([&] { secret.prepareWrite(); }, fails("No space left on device"));
    for (const int none : {EINVAL, EOPNOTSUPP}) {  // a file system that cannot reserve space
        reserveError = none;
        EXPECT_NO_THROW(secret.prepareWrite());
    }
    reserveError = 0;
    rlimit usual{};
    ::getrlimit(RLIMIT_NOFILE, &usual);
    const rlimit noFiles{0, usual.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &noFiles);
    EXPECT_THAT([&] { secret.read(true); }, fails("cannot be opened: Too many open files"));
    ::setrlimit(RLIMIT_NOFILE, &usual);
}

int statusOf(int folder, const char* name, struct stat* status, int flags) {
    const int result = ::fstatat(folder, name, status, flags);
    if (timesOfFiles && result == 0) {
        status->st_mtim = status->st_ctim = *timesOfFiles;
    }
    return result;
}

}  // namespace

// The store uses these instead of the system's own functions.
#pragma GCC visibility push(default)
extern "C" {

int fsync(int file) {
    struct stat status {};
    ::fstat(file, &status);
    tell(S_ISDIR(status.st_mode) ? "fsync folder" : "fsync file");
    return static_cast<int>(::syscall(SYS_fsync, file));
}

int openat(int folder, const char* name, int flags, ...) {
    std::va_list rest;
    va_start(rest, flags);
    const auto mode = (flags & O_CREAT) == 0 ? mode_t{} : va_arg(rest, mode_t);
    va_end(rest);
    ++openings;
    return static_cast<int>(::syscall(SYS_openat, folder, name, flags, mode));
}

int fstat(int file, struct stat* status) noexcept {
    return statusOf(file, "", status, AT_EMPTY_PATH);
}

int lstat(const char* name, struct stat* status) noexcept {
    return statusOf(AT_FDCWD, name, status, AT_SYMLINK_NOFOLLOW);
}

int posix_fallocate(int file, off_t from, off_t size) {
    const bool fails = reserveError != 0;
    return fails ? reserveError : ::syscall(SYS_fallocate, file, 0, from, size) == 0 ? 0 : errno;
}

int renameat(int from, const char* name, int to, const char* other) noexcept {
    tell("rename");
    return static_cast<int>(::syscall(SYS_renameat2, from, name, to, other, 0));
}

int unlinkat(int folder, const char* name, int flags) noexcept {
    tell("unlink");
    return static_cast<int>(::syscall(SYS_unlinkat, folder, name, flags));
}
}
#pragma GCC visibility pop
