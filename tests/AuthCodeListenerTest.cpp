#include "auth/COIDCAuthCodeListener.h"
#include "platform/Timer.h"
#include "tests/support/LocalPort.h"
#include "tests/support/Outcome.h"
#include "tests/support/RawPeer.h"
#include "tests/support/Test.h"
#include "tests/support/TestClock.h"
#include "tests/support/Usage.h"
#include "tests/support/Wide.h"

#include <numeric>

namespace {

using namespace std::chrono_literals;
using auth::COIDCAuthCodeListener;
using test::RawPeer;
using test::repeated;
using Task = Concurrency::task<auth::COIDCAuthCodeListener::OIDCAuthCode>;

constexpr std::size_t headLimit = 64U << 10U;
constexpr std::size_t bodyLimit = 256U << 10U;

const std::string form = "code=c%2Bo&id_token=i%20d&state=s%3D";
const std::string formType = "Content-Type: application/x-www-form-urlencoded\r\n";

std::string request(const std::string& line, const std::string& fields = {},
                    const std::string& body = {}) {
    return line + " HTTP/1.1\r\nHost: elsewhere.test\r\n" + fields +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string post(const std::string& body, const std::string& fields = formType) {
    return request("POST /callback", fields, body);
}

std::string postTo(const std::string& target) {
    return request("POST " + target, formType, form);
}

std::string chunked(const std::string& chunks) {
    return "POST /callback HTTP/1.1\r\n" + formType + "Transfer-Encoding: chunked\r\n\r\n" + chunks;
}

std::string page(const std::string& status, const std::string& body) {
    const std::string html = "<!doctype html><html>" + body + "</body></html>";
    return "HTTP/1.1 " + status +
           "\r\nContent-Type: text/html\r\nContent-Length: " + std::to_string(html.size()) +
           "\r\nConnection: close\r\n\r\n" + html;
}

std::string messagePage(const std::string& status, const std::string& message) {
    return page(status, R"(<body><div style=""font-family:sans-serif;"">)" + message + "</div>");
}

/// A request whose head has this size.
std::string postOfHead(std::size_t size) {
    const std::size_t rest = post(form, formType + "X: \r\n").size() - form.size();
    return post(form, formType + "X: " + std::string(size - rest, 'x') + "\r\n");
}

/// A form of this size.
std::string formOf(std::size_t size) {
    return form + "&x=" + std::string(size - form.size() - 3, 'x');
}

std::string chunk(const std::string& body) {
    std::ostringstream framed;
    framed << std::hex << body.size() << "\r\n" << body << "\r\n";
    return framed.str();
}

/// The result of a request: the bytes of the answer, and the outcome of the sign-in.
struct Result {
    std::string answer;
    std::string outcome;
};

const Result accepted{
    page("200 OK",
         "<head><script>window.onload = function load(){window.open('', '_self', '');"
         "window.close();};</script></head><body>"
         R"(<div style=""font-family:sans-serif;"">You can close this page now.</div>)"),
    "c%2Bo i%20d s%3D"};
const Result otherMethod{messagePage("400 Bad Request", "Invalid request."),
                         "unexpexted listener request type"};
const Result otherPath{messagePage("404 Not Found", "Not found."), "unexpexted listener uri"};

Result noCode(const std::string& reason) {
    return {messagePage("400 Bad Request", "Invalid reqeust. Unable to extract auth code."),
            reason};
}

std::string outcome(const Task& task) {
    std::string received;
    const std::string end = test::outcome([&] {
        const auto value = test::get(task);
        received = test::to_utf8string(value.code) + ' ' + test::to_utf8string(value.idToken) +
                   ' ' + test::to_utf8string(value.state);
    });
    return end == "accepted" ? received : end;
}

/// A listener with the task of its outcome.
struct SignIn {
    explicit SignIn(unsigned timeoutSeconds = 600, const std::string& path = "/callback")
        : url(test::freeRedirectUrl(path)), received(receive(timeoutSeconds)) {}

    Task receive(unsigned timeoutSeconds) const {
        return listener->getAuthCodeAsync(timeoutSeconds, cancellation.get_token());
    }
    std::string exchange(const std::string& bytes) const { return RawPeer(port).exchange(bytes); }

    const std::string url;
    const unsigned short port = test::portOf(url);
    std::unique_ptr<COIDCAuthCodeListener> listener =
        std::make_unique<COIDCAuthCodeListener>(CString(url));
    Concurrency::cancellation_token_source cancellation;
    Task received;
};

/// Exchanges in sequence, and the outcome of all of them.
struct Case {
    std::vector<std::pair<std::string, std::string>> exchanges;
    std::string outcome;
    std::string path = "/callback";  // of the redirect URL
};

void check(const std::vector<Case>& cases) {
    std::list<SignIn> signIns;  // they end together: each is noticed up to half a second later
    for (const Case& each : cases) {
        const SignIn& signIn = signIns.emplace_back(600, each.path);
        for (const auto& [sent, answer] : each.exchanges) {
            EXPECT_EQ(signIn.exchange(sent), answer) << each.path << ' ' << sent.substr(0, 200);
        }
    }
    auto signIn = signIns.begin();
    for (const Case& each : cases) {
        EXPECT_EQ(outcome((signIn++)->received), each.outcome)
            << each.exchanges.front().first.substr(0, 200);
    }
}

TEST(AuthCodeListener, AnswersEachRequestAndTellsWhatCameOfIt) {
    const auto typed = [](const std::string& type) {
        return post(form, "Content-Type: " + type + "\r\n");
    };
    const std::string head = otherMethod.answer.substr(0, otherMethod.answer.find('<'));
    const std::string tooLarge = "request body is too large";
    const std::string malformed = "request body is malformed";
    const std::vector<std::pair<std::string, Result>> results = {
        {post(form), accepted},
        {postOfHead(headLimit), accepted},
        {post("state=&x=1&code=&id_token=1&id_token=2"), {accepted.answer, " 2 "}},
        {"POST /callback HTTP/1.0\r\n" + formType + "content-length: 36\r\n\r\n" + form, accepted},
        {request("GET /callback?" + form), otherMethod},
        {request("HEAD /callback"), {head, otherMethod.outcome}},
        {request("OPTIONS *"), otherMethod},
        {request("post /callback", formType, form), otherMethod},
        {request("POSTS /callback", formType, form), otherMethod},
        {request("PUT /other", formType, form), otherMethod},
        {request("POST /", "Expect: 100-continue\r\n", std::string(3U << 20U, 'x')), otherPath},
        {post("Code=1"), noCode("no code in auth code response")},
        {post("code=1&state=3"), noCode("no id_token in auth code response")},
        {post("code=1&id_token=2"), noCode("no state in auth code response")},
        {post("%=&&=&code"), noCode("no code in auth code response")},
        {post("code=%FF&id_token=\xC3(&state=%00"), {accepted.answer, "%FF \xC3\x83( %00"}},
        // As the HTTP library accepts them.
        {typed("Application/X-WWW-Form-URLencoded; Charset=\"UTF-8\""), accepted},
        {typed("text/plain"), accepted},
        {typed("text/plain; charset=utf-16"), noCode("no code in auth code response")},
        {typed("text/plain; charset=x"),
         noCode("Charset must be iso-8859-1, utf-8, utf-16, utf-16le, or utf-16be to be "
                "extracted.")},
        {typed("text/plain\r\nContent-Type: application/octet-stream"), accepted},
        {post(form, ""), noCode("no code in auth code response")},
        {"POST /callback HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n" + chunk(form) + "0\r\n" +
             formType + "\r\n",
         noCode("no code in auth code response")},
        {typed("application/octet-stream"),
         noCode("Incorrect Content-Type: must be textual to extract_string, JSON to "
                "extract_json.")},
        {chunked("5\r\ncode=\r\n1;x=y\r\n1\r\n14\r\n&id_token=2&state=%3\r\n0\r\nA: b\r\n\r\n"),
         {accepted.answer, "1 2 %3"}},
        {chunked("5\r\ncode=1\r\n0\r\n\r\n"), noCode(malformed)},
        {chunked("1;" + std::string(1U << 20U, 'x')), noCode(malformed)},
        // Bytes around the body count, too, even if it arrives in many parts.
        {chunked(repeated(chunk("x"), 5000) + "0\r\n\r\n"), noCode(malformed)},
        {chunked(chunk(form) + "0\r\n" + repeated("a: b\r\n", 5000) + "\r\n"), noCode(malformed)},
        {chunked(chunk(formOf(bodyLimit)) + "0\r\n\r\n"), accepted},
        {chunked(chunk(formOf(bodyLimit - 1)) + chunk("xx") + "0\r\n\r\n"), noCode(tooLarge)},
        {post(formOf(bodyLimit)), accepted},
        {post(formOf(bodyLimit + 1)), noCode(tooLarge)},
    };
    std::vector<Case> cases;
    cases.reserve(results.size());
    for (const auto& [sent, result] : results) {
        cases.push_back({{{sent, result.answer}}, result.outcome});
    }
    check(cases);
}

TEST(AuthCodeListener, ComparesPathsAsTheyStand) {
    std::vector<Case> cases;
    const auto add = [&](const std::string& path, const Result& result,
                         const std::vector<std::string>& targets) {
        for (const std::string& target : targets) {
            cases.push_back({{{postTo(target), result.answer}}, result.outcome, path});
        }
    };
    add("/callback", accepted,
        {"/callback?iss=a%zz", "/callback#a?b", "HTTP://elsewhere.test/callback?/"});
    add("/callback", otherPath,
        {"/", "/callbac", "/callback/", "/Callback", "/%63allback", "//callback", "///callback",
         "//x/callback", "callback", "ftp:/callback", "ftp://x/callback", "http:/callback",
         "http:///callback", "http://x", "http://x#/callback", "http://x//callback", "?/callback",
         "\xC3\xA4"});
    add("//callback", accepted, {"//callback", "http://x//callback"});
    add("//callback", otherPath, {"/callback", "http://callback"});
    add("", accepted, {"/", "/?/a", "http://x", "http://x?/a"});
    add("", otherPath, {"//", "*", "http://", "?x"});
    check(cases);
}

TEST(AuthCodeListener, CountsTheFirstRequestOnly) {
    const std::string get = request("GET /favicon.ico");
    const std::string next = post("code=4&id_token=5&state=6");
    const std::string refusal = otherMethod.answer;
    check({
        {{{get, refusal}, {post(form), accepted.answer}}, otherMethod.outcome},
        {{{post(form), accepted.answer}, {next, accepted.answer}, {get, refusal}},
         accepted.outcome},
        {{{post(form) + get, accepted.answer}}, accepted.outcome},
        // Input that is not a request is answered, and changes nothing.
        {{{"\x16\x03\x01", refusal},
          {"GET / HTTP/2.0\r\n\r\n", refusal},
          {"POST /callback HTTP/1.1\r\nContent-Length: many\r\n\r\n", refusal},
          {postOfHead(headLimit + 1), refusal},
          {post(form), accepted.answer}},
         accepted.outcome},
    });
}

TEST(AuthCodeListener, HoldsNobodyUpForOthers) {
    SignIn signIn;
    std::list<RawPeer> others;
    const auto idle = [&](std::size_t count) {
        for (count += others.size(); others.size() < count;) {
            others.emplace_back(signIn.port);
        }
    };
    idle(500);
    RawPeer slow(signIn.port);
    idle(100);
    const std::string cut = post(form).substr(0, post(form).size() - 1);
    for (const std::string& begun :
         {std::string("POST /call"), "POST /callback HTTP/1.1\r\n" + formType, cut}) {
        others.emplace_back(signIn.port).send(begun);
    }
    RawPeer expectant(signIn.port);
    for (RawPeer* const peer : {&expectant, &slow}) {
        peer->send("POST /callback HTTP/1.1\r\nEXPECT: 100-Continue\r\nContent-Length: 36\r\n" +
                   formType + "\r\n");
        EXPECT_EQ(peer->receiveUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
    }
    RawPeer(signIn.port).send("POST /call");  // and disconnects
    RawPeer unused(signIn.port);
    unused.finish();
    EXPECT_EQ(unused.receive(), "");
    idle(50);
    EXPECT_EQ(expectant.exchange(form), accepted.answer);
    EXPECT_EQ(slow.exchange(form), accepted.answer) << "others have been silent for longer";
    EXPECT_EQ(outcome(signIn.received), accepted.outcome);

    signIn.listener.reset();
    for (RawPeer& peer : others) {
        peer.receive();  // the connection ends
    }
    const COIDCAuthCodeListener again{CString(signIn.url)};  // the port is free at once
    EXPECT_THROW(COIDCAuthCodeListener{CString(signIn.url)}, std::exception);
}

TEST(AuthCodeListener, KeepsRoomForABrowserWhileOthersFillTheMemory) {
    constexpr std::size_t budget = 4U << 20U;
    const SignIn signIn;
    RawPeer early(signIn.port);  // holds no bytes, so it need not be closed
    std::list<RawPeer> others;
    const std::string large = post(formOf(bodyLimit));
    const std::size_t sent = bodyLimit / 2;
    for (int i = 0; i < 100; ++i) {
        others.emplace_back(signIn.port).send(large.substr(0, sent));
    }
    EXPECT_EQ(signIn.exchange(post(form)), accepted.answer);

    std::vector<std::size_t> kept;
    for (RawPeer& peer : others) {
        kept.push_back(peer.exchange(large.substr(sent)) == accepted.answer ? sent : 0);
    }
    EXPECT_LE(std::accumulate(kept.begin(), kept.end(), std::size_t{0}), budget);
    EXPECT_EQ(kept.front(), 0U);
    EXPECT_EQ(kept.back(), sent);
    EXPECT_EQ(early.exchange(post(form)), accepted.answer);
}

TEST(AuthCodeListener, EndsTheWaitWhenThePeerOrTheListenerLeaves) {
    SignIn signIn;
    RawPeer peer(signIn.port);
    peer.send(post(form).substr(0, post(form).size() - 1));
    peer.finish();
    const Result expected = noCode("request body is incomplete");
    EXPECT_EQ(peer.receive(), expected.answer);
    EXPECT_EQ(outcome(signIn.received), expected.outcome);

    SignIn closed;
    closed.listener.reset();
    EXPECT_NE(outcome(closed.received), accepted.outcome);
}

TEST(AuthCodeListener, WaitsNoLongerThanItIsTold) {
    const std::string timeIsOver = "unable to get auth code within specified timeframe";
    const auto start = std::chrono::system_clock::now();
    test::TestClock clock;
    clock.freezeAt(start);
    const SignIn inTime(90);
    const SignIn late(90);
    const SignIn cancelled;
    cancelled.cancellation.cancel();

    clock.freezeAt(start + 90s - 100ns);
    clock.setSystemClock(1h);
    EXPECT_EQ(inTime.exchange(post(form)), accepted.answer);
    EXPECT_EQ(outcome(inTime.received), accepted.outcome);
    clock.freezeAt(start + 90s);
    clock.setSystemClock(-2h);
    std::atomic<bool> isSeldom{false};
    const platform::OneShotTimer soon(4s, [&] { isSeldom = true; });
    // Cancellation takes precedence over the time limit, and that over a received answer.
    const auto never = cancelled.receive(0);
    const auto atOnce = inTime.receive(0);
    EXPECT_EQ(outcome(inTime.receive(1)), accepted.outcome);
    EXPECT_EQ(outcome(never), "cancelled");
    EXPECT_EQ(outcome(atOnce), timeIsOver);
    EXPECT_EQ(outcome(late.received), timeIsOver);
    EXPECT_FALSE(isSeldom) << "looks no more often than that";
    inTime.cancellation.cancel();
    EXPECT_EQ(outcome(inTime.receive(1)), "cancelled");
}

TEST(AuthCodeListener, LetsGoOfALongLivedToken) {
    const SignIn signIn;
    signIn.exchange(post(form));
    EXPECT_FALSE(test::growsEachTime(100, [&] {
        std::vector<Task> waits(2000);
        std::generate(waits.begin(), waits.end(), [&] { return signIn.receive(600); });
        for (const Task& wait : waits) {
            ASSERT_EQ(outcome(wait), accepted.outcome);
        }
    }));
}

TEST(AuthCodeListener, IsCancelledAtOnce) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 20; ++i) {
        const SignIn signIn;
        signIn.cancellation.cancel();
        ASSERT_EQ(outcome(signIn.received), "cancelled");
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);  // 10 s if only ticks noticed it
}

}  // namespace
