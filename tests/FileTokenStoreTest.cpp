#include "host/standalone/FileTokenStore.h"
#include "tests/support/Privacy.h"
#include "tests/support/StoreFailure.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Test.h"

namespace fs = std::filesystem;

using standalone::SecretFile;
using test::fails;

namespace {

using Bytes = std::vector<std::uint8_t>;

class FileTokenStoreTest : public testing::Test {
protected:
    std::ptrdiff_t entries() const {
        return std::distance(fs::directory_iterator(m_folder), fs::directory_iterator());
    }
    static void put(const fs::path& file, std::size_t size) {
        std::ofstream(file) << std::string(size, 'x');
        test::closeToOthers(file);
    }

    const test::TemporaryFolder m_temporary;
    const fs::path m_base = m_temporary.path();
    const fs::path m_folder = m_base / "folder";
    const fs::path m_file = m_folder / "token";
};

TEST_F(FileTokenStoreTest, KeepsBytesPrivatelyAndForgetsThem) {
    const auto file = m_base / "a" / "b" / "token";
    standalone::FileTokenStore<int> store(file);
    Bytes bytes{1, 2};
    store.clear();
    store.read(bytes, true);
    EXPECT_TRUE(bytes.empty());
    EXPECT_FALSE(fs::exists(m_base / "a")) << "reading makes no folders";

    for (const auto& secret :
         {Bytes{0, 255, '\n', 0}, Bytes(100, 63), Bytes(SecretFile::maxSize), Bytes{7}}) {
        store.write(secret);
        standalone::FileTokenStore<int>(file).read(bytes, false);
        EXPECT_EQ(bytes, secret);
    }
    for (const auto& made : {m_base / "a", file.parent_path(), file}) {
        EXPECT_TRUE(test::isClosedToOthers(made)) << made;
    }

    for (const bool byWriting : {true, false}) {
        store.write({7});
        byWriting ? store.write({}) : store.clear();
        EXPECT_FALSE(fs::exists(file));
        store.read(bytes, false);
        EXPECT_TRUE(bytes.empty());
    }
}

/// Also if it has returned the record before.
TEST_F(FileTokenStoreTest, RefusesWhatIsNoRecordOfItsOwn) {
    struct Case {
        std::string text;
        std::function<void()> change;
    };
    const std::vector<Case> cases{
        {"token: is open to other users", [&] { test::openToOthers(m_file); }},
        {"folder: is open to other users", [&] { test::openToOthers(m_folder); }},
        {"token: is too large",
         [&] { fs::resize_file(m_file, SecretFile::maxSize + std::size_t{8} * 1024); }},
        {"token: is not a regular file",
         [&] {
             fs::remove(m_file);
             SecretFile(m_file / "inside").write({1});
         }},
        {"folder: is a symbolic link or no folder",
         [&] {
             fs::remove_all(m_folder);
             put(m_folder, 1);
         }},
    };
    for (const auto& [text, change] : cases) {
        SCOPED_TRACE(text);
        fs::remove_all(m_folder);
        SecretFile secret(m_file);
        secret.write({1});
        EXPECT_EQ(secret.read(true), Bytes{1});
        change();
        Bytes bytes{1};
        EXPECT_THAT([&] { standalone::FileTokenStore<int>(m_file).read(bytes, false); },
                    fails(text));
        EXPECT_TRUE(bytes.empty());
        EXPECT_THAT([&] { secret.read(true); }, fails(text));
        EXPECT_THAT([&] { secret.write({2}); }, fails(text));
    }
    EXPECT_THAT([&] { SecretFile(m_base / "").read(true); }, fails("not the path of a file"));
    EXPECT_THAT([&] { SecretFile(m_base / "t").write(Bytes(SecretFile::maxSize + 1)); },
                fails("too large"));
}

TEST_F(FileTokenStoreTest, WritesIntoThePreparedFile) {
    SecretFile other(m_file);
    other.write(Bytes{1});
    {
        SecretFile secret(m_file);
        secret.prepareWrite();
        EXPECT_EQ(entries(), 2);
        other.write(Bytes{2});  // only removes files that nobody is about to write
        EXPECT_EQ(entries(), 2);
        test::openToOthers(m_file);
        EXPECT_THAT([&] { secret.write(Bytes{3}); }, fails("open to other users"));
        EXPECT_THAT([&] { secret.prepareWrite(); }, fails("open to other users"));
        test::closeToOthers(m_file);
        for (const auto& bytes : {Bytes{4}, Bytes(SecretFile::maxSize), Bytes{}}) {
            secret.prepareWrite();
            secret.prepareWrite();
            other.write(Bytes{5});
            EXPECT_EQ(entries(), 2);
            secret.write(bytes);
            EXPECT_EQ(entries(), 1);
            EXPECT_EQ(other.read(true), bytes);
        }
        secret.prepareWrite();
    }
    EXPECT_EQ(entries(), 1) << "what was prepared for nothing is gone";
}

TEST_F(FileTokenStoreTest, LeavesOtherFilesAlone) {
    SecretFile secret(m_file);
    secret.write({1});
    const std::string abandoned = ".token." + std::string(32, 'a') + ".tmp";
    put(m_folder / abandoned, 1);
    put(m_folder / (".token.a" + abandoned.substr(7)), 1);
    put(m_folder / (abandoned.substr(0, abandoned.size() - 1) + 'q'), 1);
    for (const auto& [name, edit] : test::nearMisses()) {
        if (!edit(abandoned).empty()) {
            put(m_folder / edit(abandoned), 1);
        }
    }
    const auto others = entries() - 2;  // fewer where names are not case-sensitive
    secret.write({2});
    EXPECT_EQ(entries(), 1 + others);
    EXPECT_FALSE(fs::exists(m_folder / abandoned));
}

}  // namespace
