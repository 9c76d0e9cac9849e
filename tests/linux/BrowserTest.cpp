#include "platform/Browser.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Test.h"
#include "tests/support/Threads.h"
#include "tests/support/Usage.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace fs = std::filesystem;

namespace {

bool hasNoChild() {
    return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

/// Browsers that each write a report and exit, on their own PATH.
class BrowserTest : public testing::Test {
protected:
    void SetUp() override {
        ::setenv("PATH", (m_folder.path().string() + ":" + m_path).c_str(), 1);
    }
    void TearDown() override {
        ::setenv("PATH", m_path.c_str(), 1);
        ::unsetenv("BROWSER");
    }

    /// `reports` are shell commands; their output is the report.
    void makeBrowser(const std::string& name, const std::string& reports) const {
        const auto file = m_folder.path() / name;
        std::ofstream(file) << "#!/bin/bash\n{ " << reports << "; } >" << report()
                            << ".new\n/bin/mv " << report() << ".new " << report() << "\n";
        fs::permissions(file, fs::perms::owner_all);
    }

    /// The report of the browser that was started last.
    std::string takeReport() const {
        EXPECT_TRUE(test::eventually([&] { return fs::exists(report()); }));
        std::stringstream text;
        text << std::ifstream(report()).rdbuf();
        fs::remove(report());
        return text.str();
    }

    test::TemporaryFolder m_folder;

private:
    std::string report() const { return (m_folder.path() / "report").string(); }

    const std::string m_path = std::getenv("PATH");
};

TEST_F(BrowserTest, StartsWhatTheUserChose) {
    const auto* const reports = R"(echo "${0##*/}"; printf '%s\n' "$@")";
    makeBrowser("mine", reports);
    makeBrowser("xdg-open", reports);
    std::ofstream(m_folder.path() / "plain") << "no program";
    const std::string url = "https://h/?q=$(id)&x=`id`;%s %c'\"*\\\nz";
    struct Case {
        const char* browser;
        std::string url;
        std::string report = {};  // empty: nothing starts
    };
    const std::vector<Case> cases{
        {": \t:", url, "xdg-open\n" + url + "\n"},
        {" mine  --new\t-a ", url, "mine\n--new\n-a\n" + url + "\n"},
        {"mine a%sb -x %s", url, "mine\na" + url + "b\n-x\n" + url + "\n"},
        {"mine x%cy %%s %d %", "HTTPS://h", "mine\nx:y\n%s\n%d\n%\nHTTPS://h\n"},
        {"missing %s:/missing/too:plain:/usr:mine:xdg-open", "http://h", "mine\nhttp://h\n"},
        {"missing:plain", url},
        {"mine", ""},
        {"mine", "--version"},
        {"mine", "file:///etc/passwd"},
        {"mine", "http:"},
        {"mine", "httpss://h"},
        {"mine", "xhttp://h"},
        {"mine", std::string("https://h/\0rest", 15)},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.browser + (" | " + each.url));
        ::setenv("BROWSER", each.browser, 1);
        ASSERT_EQ(platform::openBrowser(each.url), !each.report.empty());
        if (!each.report.empty()) {
            EXPECT_EQ(takeReport(), each.report);
        }
    }
}

TEST_F(BrowserTest, StartsTheFirstOfTheSystemsOpenersThatIsThere) {
    ::setenv("PATH", m_folder.path().c_str(), 1);
    const std::string url = "http://h/?a=%20%s";
    EXPECT_FALSE(platform::openBrowser(url));
    // Each is preferred to the previous ones.
    for (std::string report :
         {"gio open ", "x-www-browser ", "sensible-browser ", "wslview ", "xdg-open "}) {
        SCOPED_TRACE(report);
        makeBrowser(report.substr(0, report.find(' ')), R"(echo "${0##*/}" "$@")");
        EXPECT_TRUE(platform::openBrowser(url));
        EXPECT_EQ(takeReport(), report.append(url).append("\n"));
    }
}

TEST_F(BrowserTest, TakesNothingOfOursAlongAndLeavesNothing) {
    makeBrowser("mine",
                "cut -d' ' -f6 /proc/$$/stat; readlink /proc/$$/fd/0 /proc/$$/fd/2;"
                "grep -E '^Sig(Blk|Ign)' /proc/self/status;"
                // Without a pipe, which the shell itself would have open for a moment.
                "for file in 3 4 5 6 7 8 9 200; do [ ! -e /proc/$$/fd/$file ] || echo $file; done");
    ::setenv("BROWSER", "mine", 1);
    constexpr int ours = 200;
    ASSERT_EQ(::dup2(STDERR_FILENO, ours), ours);  // stays open in started programs
    sigset_t blocked;
    sigset_t before;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
    auto* const interrupt = ::signal(SIGINT, SIG_IGN);
    const auto usage = test::usage();

    const auto collect = [](int) {
        const int error = errno;
        while (::waitpid(-1, nullptr, WNOHANG) > 0) {
        }
        errno = error;
    };
    for (const sighandler_t onChildEnd : {SIG_DFL, SIG_IGN, sighandler_t{collect}}) {
        auto* const child = ::signal(SIGCHLD, onChildEnd);
        EXPECT_TRUE(platform::openBrowser("http://h"));
        EXPECT_TRUE(hasNoChild());
        (void)::signal(SIGCHLD, child);

        std::istringstream report(takeReport());
        pid_t session = 0;
        report >> session >> std::ws;
        EXPECT_NE(session, ::getsid(0));
        const std::string rest(std::istreambuf_iterator<char>(report), {});
        EXPECT_EQ(rest,
                  "/dev/null\n/dev/null\nSigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
    }
    EXPECT_LE(test::usage().descriptors, usage.descriptors);
    EXPECT_LE(test::usage().threads, usage.threads);
    (void)::signal(SIGINT, interrupt);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    ::close(ours);
}

TEST_F(BrowserTest, StartsFromABusyProcess) {
    ::setenv("BROWSER", "true", 1);
    std::atomic<int> opened{0};
    test::onThreads(2, [&](int number) {
        while (opened < 30) {
            std::vector<std::string> memory(100, std::string(100, 'x'));
            if (number == 0) {
                EXPECT_TRUE(platform::openBrowser("http://h"));
                ++opened;
            }
        }
    });
    EXPECT_TRUE(hasNoChild());
}

}  // namespace
