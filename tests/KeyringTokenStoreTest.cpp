#include "host/standalone/KeyringTokenStore.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/StoreFailure.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Test.h"
#include "tests/support/Threads.h"

using standalone::KeyringEntry;
using standalone::SecretKeyring;
using test::ChildProcess;
using test::fails;

// GLib is not instrumented: ThreadSanitizer does not see how its threads synchronize.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
    return "ignore_noninstrumented_modules=1";
}

namespace {

using Bytes = std::vector<std::uint8_t>;

std::unique_ptr<ChildProcess> start(const std::string& command) {
    return std::make_unique<ChildProcess>([&](const ChildProcess&) {
        const auto quiet = "exec >/dev/null 2>&1; exec " + command;
        return ::execlp("sh", "sh", "-c", quiet.c_str(), nullptr);
    });
}

/// A session with its own bus and home; one for the process, because GLib only allows one bus.
class Session {
public:
    Session() {
        const auto& folder = m_folder.path();
        for (const auto* const name : {"HOME", "XDG_RUNTIME_DIR", "XDG_DATA_HOME"}) {
            ::setenv(name, folder.c_str(), 1);
        }
        const auto address = "unix:path=" + (folder / "bus").string();
        ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
        std::ofstream(folder / "bus.conf")
            << "<busconfig><type>session</type><listen>" << address << "</listen>"
            << R"(<policy context="default"><allow own="*"/><allow send_destination="*"/>)"
            << R"(<allow eavesdrop="true"/></policy></busconfig>)";
        std::ofstream(folder / "password") << "secret";
        m_bus = start("dbus-daemon --nofork --config-file=$HOME/bus.conf");
        EXPECT_TRUE(test::eventually([&] { return std::filesystem::exists(folder / "bus"); }));
    }

private:
    test::TemporaryFolder m_folder;
    std::unique_ptr<ChildProcess> m_bus;
};

class KeyringTokenStoreTest : public testing::Test {
protected:
    static void SetUpTestSuite() { m_session = std::make_unique<Session>(); }
    static void TearDownTestSuite() { m_session.reset(); }
    void SetUp() override { startKeyring("--unlock"); }

    void startKeyring(const std::string& option) {
        m_service.reset();
        m_service = start("gnome-keyring-daemon --foreground --components=secrets " + option +
                          " <$HOME/password");
        SecretKeyring other({"https://other", "client", "other"});
        EXPECT_TRUE(test::eventually([&]() -> bool {
            try {
                return other.read(true).empty();
            } catch (const standalone::TokenStoreError&) {
                return false;
            }
        }));
    }

    const KeyringEntry m_entry{"https://provider/config", "client", "Token of a test"};
    std::unique_ptr<ChildProcess> m_service;

private:
    static inline std::unique_ptr<Session> m_session;
};

TEST_F(KeyringTokenStoreTest, KeepsBytesAndForgetsThem) {
    standalone::KeyringTokenStore<int> store(m_entry);
    SecretKeyring other({m_entry.provider, "client2", m_entry.label});
    other.write({2});
    Bytes bytes{1, 2};
    store.clear();
    store.read(bytes, true);
    EXPECT_TRUE(bytes.empty());

    for (const auto& secret : {Bytes{0, 255, '\n', 0}, Bytes(100000, 200), Bytes{}, Bytes{7, 8}}) {
        store.write(secret);
        SecretKeyring(m_entry).prepareWrite();
        standalone::KeyringTokenStore<int>(m_entry).read(bytes, false);
        EXPECT_EQ(bytes, secret);
    }
    startKeyring("--unlock");
    store.read(bytes, true);
    EXPECT_EQ(bytes, (Bytes{7, 8}));

    ::setenv("ENTRY", "application oidcauth provider https://provider/config client client", 1);
    EXPECT_EQ(std::system("test $(secret-tool lookup $ENTRY) = Bwg="), 0);
    EXPECT_EQ(std::system("test $(secret-tool search --all application oidcauth 2>&1 "
                          "| grep -c '^label = Token of a test') = 2"),
              0)
        << "what was prepared for is gone";
    EXPECT_EQ(std::system("printf 'Bwg?' | secret-tool store --label=x $ENTRY"), 0);
    EXPECT_THAT([&] { store.read(bytes, true); }, fails("was not written by"));
    EXPECT_TRUE(bytes.empty());
    EXPECT_EQ(std::system("printf BQ== | secret-tool store --label=x $ENTRY more 1"), 0);
    store.write({7});
    store.clear();
    store.read(bytes, false);
    EXPECT_TRUE(bytes.empty()) << "neither what was remembered nor the other one is left";
    EXPECT_EQ(other.read(true), Bytes{2});
}

TEST_F(KeyringTokenStoreTest, SaysWhyItFails) {
    SecretKeyring patient(m_entry);
    SecretKeyring hasty(m_entry, std::chrono::milliseconds(100));
    const std::vector<std::function<void(SecretKeyring&)>> uses{
        [](SecretKeyring& keyring) { keyring.read(true); },
        [](SecretKeyring& keyring) { keyring.write({2}); },
        [](SecretKeyring& keyring) { keyring.prepareWrite(); },
        [](SecretKeyring& keyring) { keyring.clear(); },
    };
    struct Case {
        SecretKeyring& keyring;
        const char* text;
        std::function<void()> prepare;
    };
    const std::vector<Case> cases{
        {patient, "\"Token of a test\": is locked", [&] { startKeyring(""); }},
        {hasty, "did not answer in time", [&] { m_service->signal(SIGSTOP); }},
        {patient, "cannot be used: ", [&] { m_service.reset(); }},
    };
    patient.write({1});
    for (const auto& each : cases) {
        each.prepare();
        for (const auto& use : uses) {
            EXPECT_THAT([&] { use(each.keyring); }, fails(each.text));
            EXPECT_THAT([&] { each.keyring.read(false); }, fails()) << "only the keyring counts";
        }
    }
    EXPECT_THAT([&] { patient.write(Bytes(SecretKeyring::maxSize + 1)); }, fails("too large"));
    SecretKeyring noText({"https://p", "\xff", "label"});
    EXPECT_THAT([&] { noText.read(true); }, fails("UTF-8"));
}

TEST_F(KeyringTokenStoreTest, ServesSeveralThreads) {
    SecretKeyring shared(m_entry);
    shared.write({9});
    test::onThreads(4, [&](int number) {
        SecretKeyring own({m_entry.provider, std::to_string(number), "own"});
        for (std::uint8_t time = 0; time < 10; ++time) {
            own.write({time});
            EXPECT_EQ(own.read(true), Bytes{time});
            EXPECT_EQ(shared.read(time % 2 == 0), Bytes{9});
        }
    });
}

}  // namespace
