#include "tool/ClockCheck.h"

#include <cpprest/asyncrt_utils.h>
#include <fmt/format.h>

#include <chrono>
#include <cstdint>
#include <optional>

namespace tool {

namespace {

using Clock = std::chrono::system_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// The library refuses a token whose time of issue is further ahead.
constexpr milliseconds mostAhead = seconds(4);
/// With a larger difference, a token whose life is no longer than that has expired on arrival. Few
/// are that short: the limit is there to detect a clock that nobody keeps right.
constexpr milliseconds mostBehind = seconds(4);

/// Coarser than the clock's own time points, which end in the year 2262.
using Time = std::chrono::time_point<Clock, milliseconds>;

/// Empty for an answer from a cache: its date is that of its creation.
std::optional<Time> dateOf(const web::http::http_headers& headers) {
    const auto date = headers.find(_XPLATSTR("Date"));
    if (date == headers.end() || headers.has(_XPLATSTR("Age"))) {
        return std::nullopt;
    }
    using utility::datetime;
    const auto parsed = datetime::from_string(date->second, datetime::RFC_1123);
    if (!parsed.is_initialized()) {
        return std::nullopt;
    }
    constexpr std::int64_t ticksOfSecond = 10'000'000;
    constexpr seconds until1970(11'644'473'600);  // since 1601
    const seconds since1601(static_cast<std::int64_t>(parsed.to_interval()) / ticksOfSecond);
    return Time(since1601 - until1970);
}

std::string describe(milliseconds difference, const char* direction) {
    const bool isShort = difference < seconds(1);
    return fmt::format(
        "at least {} {} {} this machine's",
        isShort ? difference.count() : std::chrono::duration_cast<seconds>(difference).count(),
        isShort ? "ms" : "s", direction);
}

}  // namespace

std::vector<Check> checkClock(const FetchedJson& answer) {
    using std::chrono::time_point_cast;
    const auto date = dateOf(answer.headers);
    if (!date) {
        return {};
    }
    // The date has whole seconds only, and was written between the sending of the request and the
    // arrival of the answer. A token issued at that moment would have the same time of issue.
    const auto ahead = *date - time_point_cast<milliseconds>(answer.answeredAt);
    const auto behind = time_point_cast<milliseconds>(answer.askedAt) - (*date + seconds(1));
    Check check{Check::Use::login,
                Check::Result::ok,
                "clock",
                "this machine's",
                "this machine's, by whole seconds",
                {}};
    if (ahead > milliseconds(0)) {
        const bool isTooFar = ahead > mostAhead;
        check.result = isTooFar ? Check::Result::missing : Check::Result::advised;
        check.found = describe(ahead, "ahead of");
        check.remedy = isTooFar ? "Correct the wrong clock: tokens that seem to be issued more "
                                  "than 4 s in the future are refused."
                                : "Correct the wrong clock: tokens with a start of validity (nbf) "
                                  "are refused until that time.";
    } else if (behind > mostBehind) {
        check.result = Check::Result::advised;
        check.found = describe(behind, "behind");
        check.remedy =
            "Correct the wrong clock: tokens seem older by that much, and short-lived ones seem "
            "expired.";
    }
    return {check};
}

}  // namespace tool
