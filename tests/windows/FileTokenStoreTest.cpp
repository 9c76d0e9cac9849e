#include "host/standalone/FileTokenStore.h"
#include "tests/support/Privacy.h"
#include "tests/support/StoreFailure.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Test.h"
#include "tests/support/windows/OtherProcess.h"

#include <dpapi.h>

namespace fs = std::filesystem;

using standalone::SecretFile;
using test::fails;

namespace {

using Bytes = std::vector<std::uint8_t>;

std::string contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void overwrite(const fs::path& file, const std::string& content) {
    std::ofstream(file, std::ios::binary | std::ios::trunc) << content;
}

/// Encrypted for this user, for a purpose.
std::string sealed(std::string text, std::string purpose) {
    const auto blobOf = [](std::string& bytes) {
        return DATA_BLOB{static_cast<DWORD>(bytes.size()), reinterpret_cast<BYTE*>(bytes.data())};
    };
    DATA_BLOB plain = blobOf(text);
    DATA_BLOB entropy = blobOf(purpose);
    DATA_BLOB made{};
    EXPECT_NE(::CryptProtectData(&plain, nullptr, &entropy, nullptr, nullptr,
                                 CRYPTPROTECT_UI_FORBIDDEN, &made),
              0);
    std::string bytes(reinterpret_cast<const char*>(made.pbData), made.cbData);
    ::LocalFree(made.pbData);
    return bytes;
}

/// A file that another program has open.
class Held {
public:
    Held(const fs::path& file, DWORD share)
        : m_handle(::CreateFileW(file.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0,
                                 nullptr)) {
        EXPECT_NE(m_handle, INVALID_HANDLE_VALUE);
    }
    ~Held() { ::CloseHandle(m_handle); }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

private:
    HANDLE m_handle;
};

class WindowsFileTokenStore : public testing::Test {
protected:
    const test::TemporaryFolder m_temporary;
    const fs::path m_file = m_temporary.path() / L"\u00e4\u4e16" / L"t\u00f6ken";
};

TEST_F(WindowsFileTokenStore, EncryptsForItsUser) {
    const std::string text = "a token that nobody reads";
    SecretFile secret(m_file);
    secret.write(Bytes(text.begin(), text.end()));
    const std::string record = contentOf(m_file);
    EXPECT_EQ(record.find(text.substr(0, 8)), std::string::npos);
    std::string changed = record;
    changed.back() = static_cast<char>(changed.back() ^ 1);
    for (const auto& content : {changed, record.substr(0, record.size() - 1), record.substr(1),
                                std::string(), text, sealed(text, ""), sealed(text, "another")}) {
        overwrite(m_file, content);
        EXPECT_THAT([&] { secret.read(true); }, fails("cannot be decrypted")) << content.size();
    }
    // Records of earlier versions can still be read.
    for (const auto& content : {record, sealed(text, std::string("OIDCAuth token record\0", 22))}) {
        overwrite(m_file, content);
        EXPECT_EQ(secret.read(true), Bytes(text.begin(), text.end()));
    }
    overwrite(m_file, text);
    secret.write({1});
    EXPECT_EQ(SecretFile(m_file).read(true), Bytes{1}) << "a sign-in mends it";
}

/// Also if it has remembered the record.
TEST_F(WindowsFileTokenStore, SeesWhatOthersDo) {
    SecretFile here(m_file);
    SecretFile there(m_file);
    for (const auto& change : std::vector<std::function<Bytes()>>{
             [&] { return there.write({1}), Bytes{1}; },
             [&] { return there.write({2}), Bytes{2}; },
             [&] { return here.write({3}), Bytes{3}; },
             [&] { return there.clear(), Bytes{}; },
             [&] { return there.write({4}), Bytes{4}; },
         }) {
        using Clock = std::chrono::system_clock;
        const Bytes expected = change();
        const auto old = Clock::now() + std::chrono::milliseconds(50);
        EXPECT_EQ(here.read(false), expected);
        EXPECT_TRUE(test::eventually([&] { return Clock::now() > old; }));
        EXPECT_EQ(here.read(false), expected);
        std::optional<Held> held;
        if (!expected.empty()) {
            held.emplace(m_file, 0);
        }
        EXPECT_EQ(here.read(false), expected) << "nobody can read it now";
    }
    test::openToOthers(m_file);
    EXPECT_THAT([&] { here.read(false); }, fails("is open to other users"));
    test::closeToOthers(m_file);
    overwrite(m_file, std::string(contentOf(m_file).size(), 'x'));
    EXPECT_THAT([&] { here.read(false); }, fails("cannot be decrypted"));
}

TEST_F(WindowsFileTokenStore, WaitsForThoseWhoHaveTheFile) {
    SecretFile secret(m_file);
    secret.write({1});
    std::uint8_t written = 1;
    const std::function<void()> read = [&] { EXPECT_EQ(secret.read(true), Bytes{written}); };
    const std::function<void()> write = [&] { secret.write({++written}); };
    const std::function<void()> clear = [&] { secret.clear(); };
    for (const auto& [use, share, text] :
         std::vector<std::tuple<std::function<void()>, DWORD, std::string>>{
             {read, 0, "cannot be opened"},
             {write, 0, ""},
             {write, FILE_SHARE_READ, "cannot be replaced"},
             {write, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, ""},
             {clear, FILE_SHARE_READ, "cannot be removed"},
         }) {
        auto held = std::make_unique<Held>(m_file, share);
        if (!text.empty()) {
            const auto before = written;
            EXPECT_THAT(use, fails(text)) << "who has it does not let go";
            written = before;
        }
        auto done = std::async(std::launch::async, use);
        const auto early = done.wait_for(std::chrono::milliseconds(50));
        if (share == 0) {
            EXPECT_EQ(early, std::future_status::timeout);
        }
        held.reset();
        EXPECT_NO_THROW(done.get());
    }
    EXPECT_EQ(secret.read(true), Bytes{});
    EXPECT_TRUE(fs::is_empty(m_file.parent_path()));
}

Bytes recordOf(std::uint8_t number) {
    return Bytes((number + std::size_t{1}) * 4096, number);
}

TEST_F(WindowsFileTokenStore, DISABLED_Writes) {
    const auto file = test::OtherProcess::file();
    SecretFile own(file);
    for (int number = 0; number < 20'000; ++number) {
        own.write(recordOf(static_cast<std::uint8_t>(number % 64)));
        if (number == 3) {
            test::tell(file, ".begun");
        }
    }
}

TEST_F(WindowsFileTokenStore, SurvivesWritersThatAreKilled) {
    SecretFile secret(m_file);
    secret.write(recordOf(1));
    const auto write = [&] {
        return std::make_unique<test::OtherProcess>("WindowsFileTokenStore.DISABLED_Writes",
                                                    m_file);
    };
    const auto other = write();
    for (int round = 0; round < 4; ++round) {
        fs::remove(test::beside(m_file, ".begun"));
        auto killed = write();
        ASSERT_TRUE(test::told(m_file, ".begun"));
        for (int time = 0; time < 50; ++time) {
            if (time == 25 + round) {
                killed.reset();
            }
            const Bytes bytes = secret.read(time % 2 == 0);
            ASSERT_FALSE(bytes.empty());
            ASSERT_EQ(bytes, recordOf(bytes.front()));
        }
    }
}

}  // namespace
