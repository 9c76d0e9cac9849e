#include "host/standalone/FileTokenStore.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/StoreFailure.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Test.h"

#include <sys/resource.h>

namespace fs = std::filesystem;

using standalone::SecretFile;
using test::fails;

namespace {

using Bytes = std::vector<std::uint8_t>;

/// A record that shows whether it has parts of two: the number determines every byte and the size.
Bytes recordOf(std::size_t number, std::size_t scale = 512) {
    return Bytes((number % 64 + 1) * scale, static_cast<std::uint8_t>(number % 64));
}

/// Writes more than the process may: if SIGXFSZ is ignored, it fails as on a full disk, otherwise
/// it dies in the middle of the write.
int writeBeyondLimit(const fs::path& file, bool dies) {
    for (const auto& [what, most] : {std::pair{RLIMIT_CORE, 0U}, {RLIMIT_FSIZE, 4096U}}) {
        const rlimit limit{most, most};
        ::setrlimit(what, &limit);
    }
    (void)::signal(SIGXFSZ, dies ? SIG_DFL : SIG_IGN);
    SecretFile secret(file);
    secret.read(true);
    for (const std::string& reason : {file.string(), std::string("File too large")}) {
        EXPECT_THAT([&] { secret.write(Bytes(10000, 1)); }, fails(reason));
    }
    return !testing::Test::HasFailure() && secret.read(false) == recordOf(1) ? 0 : 1;
}

class KilledWriter : public testing::Test {
protected:
    std::ptrdiff_t entries() const {
        return std::distance(fs::directory_iterator(m_folder.path()), fs::directory_iterator());
    }

    const test::TemporaryFolder m_folder;
    const fs::path m_file = m_folder.path() / "token";
};

TEST_F(KilledWriter, KeepsTheOldRecordWhenAWriteFails) {
    SecretFile secret(m_file);
    secret.write(recordOf(1));
    EXPECT_EQ(test::endOf([&] { return writeBeyondLimit(m_file, false); }), 0);
    EXPECT_EQ(entries(), 1);
    for (const bool byWriting : {true, false}) {
        EXPECT_EQ(secret.read(true), recordOf(1));
        ASSERT_TRUE(WIFSIGNALED(test::endOf([&] { return writeBeyondLimit(m_file, true); })));
        EXPECT_EQ(secret.read(true), recordOf(1));
        ASSERT_EQ(entries(), 2) << "the dead writer left no file behind";
        byWriting ? secret.write(recordOf(1)) : secret.clear();
        EXPECT_EQ(entries(), byWriting ? 1 : 0);
    }
}

/// The first of three writers is killed in the middle, and so is its replacement.
TEST_F(KilledWriter, ServesSeveralProcessesAndSurvivesThem) {
    constexpr std::size_t scale = 16384;  // up to 1 MiB: most kills hit a write
    const auto write = [this](const test::ChildProcess& self) -> int {
        SecretFile own(m_file);
        for (std::size_t number = 0; number < 40; ++number) {
            own.write(recordOf(number, scale));
            self.tell();
        }
        return 0;
    };
    SecretFile secret(m_file);
    const auto isWhole = [&](bool reread) {
        const Bytes bytes = secret.read(reread);
        return !bytes.empty() && bytes == recordOf(bytes.front(), scale);
    };
    std::list<test::ChildProcess> writers;
    writers.emplace_back(write);
    writers.emplace_back(write);
    for (int round = 0; round < 20; ++round) {
        test::ChildProcess killed(write);
        for (int count = 0; count < round % 3 + 1; ++count) {
            ASSERT_TRUE(killed.told());
            ASSERT_TRUE(isWhole(true));
        }
    }
    for (auto& writer : writers) {
        while (writer.told()) {
            EXPECT_TRUE(isWhole(false));
        }
        EXPECT_EQ(writer.end(), 0);
    }
    SecretFile(m_file).write({1});
    EXPECT_EQ(entries(), 1);
}

}  // namespace
