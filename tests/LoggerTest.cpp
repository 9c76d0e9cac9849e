#include "tests/support/CapturedLog.h"
#include "tests/support/Test.h"

namespace {

using LoggingUtilities::CLogger;
using LoggingUtilities::ELogLevel;

TEST(Logger, FormatsEveryKindOfArgument) {
    const auto log = std::make_shared<test::CapturedLog>();
    const CLogger logger(log);
    logger.Log(ELogLevel::Flow, L"%s %s %s %s", CString("\xF0\x9F\x94\x91"), "narrow",
               std::string("string"), L"wide");
    logger.Log(ELogLevel::Detail, L"%d %d %u %.1f %%", std::int64_t{-1}, std::uint16_t{404}, 7U,
               1.5);
    logger.Log(ELogLevel::Error, L"%s", std::string("not UTF-8: \xFF"));
    EXPECT_THAT(log->lines(),
                ::testing::ElementsAre("1 \xF0\x9F\x94\x91 narrow string wide", "2 -1 404 7 1.5 %",
                                       "4 not UTF-8: \xEF\xBF\xBD"));
}

class BrokenSink final : public LoggingUtilities::ILoggerImpl {
public:
    void write(ELogLevel, const CString&) override { throw 1; }
};

TEST(Logger, NeverFailsItsCaller) {
    CLogger(std::make_shared<BrokenSink>()).Log(ELogLevel::Error, L"text");
    const auto log = std::make_shared<test::CapturedLog>();
    CLogger(log).Log(ELogLevel::Error, L"%d", "no number");
    CLogger(log).Log(ELogLevel::Error, L"%s");
    EXPECT_TRUE(log->lines().empty());
    EXPECT_THROW(CLogger{nullptr}, std::invalid_argument);
}

}  // namespace
