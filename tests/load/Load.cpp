// Many requests of all kinds at once, and for long, to providers that fail in every way. Each has
// to end as it may, and the process must not need more and more.

#include "auth/COIDCHelper.h"
#include "host/HttpProxyConfig.h"
#include "testing/TestBrowser.h"
#include "tests/load/Site.h"
#include "tests/support/JwtPayload.h"
#include "tests/support/LocalPort.h"
#include "tests/support/Outcome.h"
#include "tests/support/Usage.h"

#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <list>
#include <optional>
#include <random>
#include <system_error>

// This program's own host: what is not answered ends soon.
web::http::client::http_client_config get_http_proxy_config(const web::uri& /*target*/) {
    web::http::client::http_client_config config;
    config.set_timeout(std::chrono::seconds(2));
    return config;
}

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using load::Account;
using load::below;
using load::Site;

/// Whoever waits for others waits long when these fail, but not for ever.
constexpr auto longest = 5min;
constexpr auto tokenLife = 2s;

enum class Kind { Service, User, SignIn };

std::string nameOf(Kind kind) {
    return kind == Kind::Service ? "service" : kind == Kind::User ? "user" : "user, may sign in";
}

struct Helper {
    Account account;
    std::shared_ptr<auth::IExclusivePermit> permit = auth::COIDCHelper::makeExclusivePermit();
    std::unique_ptr<auth::COIDCHelper> helper = std::make_unique<auth::COIDCHelper>(
        std::make_unique<test::MemoryStore>(account.content), permit, nullptr);
};

struct Request {
    Kind kind;
    CString client;
    std::shared_ptr<Site> site;  // outlives it
    auth::COIDCHelper& helper;
    Clock::time_point begun = Clock::now();
    std::optional<Clock::time_point> cancelAt = {};
    Concurrency::cancellation_token_source source = {};
    Concurrency::task<CString> task = {};

    void start(const std::vector<CString>& urls) {
        const auto token = cancelAt ? source.get_token() : Concurrency::cancellation_token::none();
        const CString config = site->configUrl();
        task = kind == Kind::Service
                   ? helper.getAccessTokenClientCredentialsAsync(config, client, "secret", "a b", 0,
                                                                 token)
                   : helper.getAccessTokenHybridAsync(config, client, "openid", urls, 0, token,
                                                      kind == Kind::SignIn);
    }

    void startBlocking(const std::vector<CString>& urls) {
        const Concurrency::task_completion_event<CString> end;
        task = Concurrency::create_task(end);
        std::thread([this, urls, end, config = site->configUrl()] {
            try {
                end.set(
                    kind == Kind::Service
                        ? helper.getAccessTokenClientCredentials(config, client, "secret", "a b", 0)
                        : helper.getAccessTokenHybrid(config, client, "openid", urls, 0,
                                                      kind == Kind::SignIn));
            } catch (...) {
                end.set_exception(std::current_exception());
            }
        }).detach();
    }
};

/// How the request ended, with "!" in front when it may not end so.
std::string outcomeOf(const Request& request) {
    const std::string client = request.client.toUtf8();
    const std::string end = test::outcome([&] {
        try {
            const std::string token = request.task.get().toUtf8();
            return request.kind == Kind::Service
                       ? token.rfind("token-" + client + '-', 0) == 0
                       : test::payloadOf(token).find(R"("client_id":")" + client + '"') !=
                             std::string::npos;
        } catch (const std::system_error& failure) {
            // The token library has such ones, too, with codes of its own.
            const auto& of = failure.code().category();
            throw std::runtime_error((of == std::system_category() || of == std::generic_category()
                                          ? "! system: "
                                          : "") +
                                     std::string(failure.what()));
        }
    });
    const bool isWrong = end == "refused" || end == "something else" ||
                         (end == "cancelled" && !request.cancelAt) ||
                         (end.rfind("user: ", 0) == 0 && request.kind != Kind::User);
    return (isWrong ? "! " : "") + end;
}

/// Comes due once in a period.
class Pulse {
public:
    explicit Pulse(Clock::duration period) : m_period(period) {}

    bool due() {
        const auto now = Clock::now();
        if (now < m_next) {
            return false;
        }
        m_next = now + m_period;
        return true;
    }

private:
    const Clock::duration m_period;
    Clock::time_point m_next = Clock::now() + m_period;
};

class Load {
public:
    Load() {
        for (int i = 0; i < 25; ++i) {
            m_services.push_back({{"service-" + std::to_string(i)}});
            // Some have their account and their permit in common.
            m_users.push_back(i % 5 == 4 ? Helper{m_users.back().account, m_users.back().permit}
                                         : Helper{{"user-" + std::to_string(i)}});
            m_users.back().helper->setBrowserOpener([](const CString& url) {
                auth::testing::signIn(url.toUtf8());
                return true;
            });
        }
        openSites();
    }

    /// A few requests, one after the other, to providers that answer as yet.
    void warmUp() {
        for (int i = 0; i < 30; ++i) {
            begin();
            finish();
        }
        m_faulty = true;
    }

    void burst(std::size_t requests) {
        for (const Helper& user : m_users) {
            reseed(user.account);
        }
        for (std::size_t i = 0; i < requests; ++i) {
            begin();
        }
        finish();
    }

    /// Gives what the process had meanwhile.
    std::vector<test::Usage> soak(Clock::duration length) {
        constexpr std::size_t samples = 300;
        constexpr std::size_t mostAtOnce = 200;
        std::vector<test::Usage> result;
        Pulse request(5ms);
        Pulse seed(100ms);
        Pulse site(5s);
        Pulse sample(length / samples);
        for (const auto end = Clock::now() + length; Clock::now() < end; tick()) {
            if (request.due() && m_running.size() < mostAtOnce) {
                begin();
            }
            if (seed.due()) {
                reseed(m_users.at(below(m_users.size(), m_random)).account);
            }
            if (site.due()) {
                openSites();
            }
            if (sample.due()) {
                result.push_back(test::usage());
            }
        }
        finish();
        return result;
    }

    /// Tells what became of the requests since the last report, and whether nothing was wrong.
    bool report() {
        openSites();  // so that the last ones have told what they received
        const auto tell = [](auto& counts, const char* prefix) {
            for (const auto& [name, count] : counts) {
                std::cout << std::setw(8) << count << "  " << prefix << name << '\n';
            }
            counts.clear();
        };
        tell(m_outcomes, "");
        tell(*m_grants, "received by the providers: ");
        return !m_wrong;
    }

private:
    /// New providers, since they keep what they receive. All users have signed in there.
    void openSites() {
        for (auto* const site : {&m_serviceSite, &m_userSite}) {
            *site = std::make_shared<Site>(m_grants, tokenLife);
        }
        for (const Helper& user : m_users) {
            m_userSite->seed(user.account, tokenLife);
        }
    }

    /// As another program does: the user has a token that serves, one to be refreshed, or none.
    void reseed(const Account& account) {
        const std::size_t choice = below(20, m_random);
        choice == 0 ? account.content->put({})
                    : m_userSite->seed(account, choice < 10 ? tokenLife : 0s);
    }

    void begin() {
        const std::size_t choice = below(100, m_random);
        const Kind kind = choice < 70 ? Kind::Service : choice < 85 ? Kind::User : Kind::SignIn;
        const auto& helpers = kind == Kind::Service ? m_services : m_users;
        const Helper& chosen = helpers.at(below(helpers.size(), m_random));
        const bool second = kind == Kind::Service && below(2, m_random) == 0;
        Request& request = m_running.emplace_back(
            Request{kind, (second ? "too-" : "") + chosen.account.client,
                    kind == Kind::Service ? m_serviceSite : m_userSite, *chosen.helper});
        const std::size_t manner = below(100, m_random);
        if (manner < 15) {
            request.cancelAt = request.begun + std::chrono::milliseconds(below(1000, m_random));
        }
        manner >= 95 ? request.startBlocking(m_redirectUrls) : request.start(m_redirectUrls);
    }

    void finish() {
        while (!m_running.empty()) {
            tick();
        }
    }

    void tick() {
        const auto now = Clock::now();
        for (auto request = m_running.begin(); request != m_running.end();) {
            if (request->task.is_done()) {
                count(*request);
                request = m_running.erase(request);
                continue;
            }
            if (request->cancelAt && now >= *request->cancelAt) {
                request->source.cancel();
            }
            if (now > request->begun + longest) {
                std::cout << "WRONG: a request does not end: " << nameOf(request->kind)
                          << std::endl;
                std::_Exit(EXIT_FAILURE);  // the helpers cannot be destroyed
            }
            ++request;
        }
        if (m_faulty && m_serviceFault.due()) {
            m_serviceSite->changeFault(m_random);
        }
        if (m_faulty && m_userFault.due()) {
            m_userSite->changeFault(m_random);
        }
        std::this_thread::sleep_for(1ms);
    }

    void count(const Request& request) {
        const std::string outcome = outcomeOf(request);
        m_wrong = m_wrong || outcome.rfind('!', 0) == 0;
        ++m_outcomes[nameOf(request.kind) + ": " + outcome];
    }

    load::Random m_random{std::random_device()()};
    std::vector<Helper> m_services;
    std::vector<Helper> m_users;
    const std::vector<CString> m_redirectUrls{test::freeRedirectUrl(), test::freeRedirectUrl()};
    const std::shared_ptr<Site::Grants> m_grants = std::make_shared<Site::Grants>();
    std::shared_ptr<Site> m_serviceSite;
    std::shared_ptr<Site> m_userSite;
    bool m_faulty = false;
    Pulse m_serviceFault{50ms};
    Pulse m_userFault{1s};  // all users wait while a failed refresh of one pauses
    std::list<Request> m_running;
    std::map<std::string, std::size_t> m_outcomes;
    bool m_wrong = false;
};

/// Tells what the process had in each fifth of the time, as medians, since requests come and go,
/// and compares the last fifth with the second one: in the first one caches fill. Judges nothing of
/// less than a minute, since threads that have nothing to do stay for ten seconds.
bool isFlat(const std::vector<test::Usage>& samples, bool isLong) {
    struct Row {
        const char* name;
        std::size_t test::Usage::*figure;
        std::size_t slack;
    };
    bool flat = true;
    for (const auto& [name, figure, slack] :
         {Row{"resident KiB", &test::Usage::residentKiB, 4096},
          Row{"heap KiB", &test::Usage::heapKiB, 2048}, Row{"threads", &test::Usage::threads, 20},
          Row{"descriptors", &test::Usage::descriptors, 20}}) {
        std::array<std::size_t, 5> medians{};
        std::cout << std::setw(12) << name;
        for (std::size_t fifth = 0; fifth < 5; ++fifth) {
            std::vector<std::size_t> values;
            for (auto i = fifth * samples.size() / 5; i < (fifth + 1) * samples.size() / 5; ++i) {
                values.push_back(samples.at(i).*figure);
            }
            std::sort(values.begin(), values.end());
            medians.at(fifth) = values.at(values.size() / 2);
            std::cout << std::setw(9) << medians.at(fifth);
        }
        const bool grew = isLong && medians[4] > medians[1] + medians[1] / 10 + slack;
        std::cout << (grew ? "  WRONG: grows\n" : "\n");
        flat = flat && !grew;
    }
    return flat;
}

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

}  // namespace

int main(int argc, char** argv) {
    const std::size_t requests = argc > 1 ? std::stoul(argv[1]) : 1000;
    const double minutes = argc > 2 ? std::stod(argv[2]) : 0;
    std::cout << std::fixed << std::setprecision(1);
    Load load;
    load.warmUp();
    bool right = load.report();
    const test::Usage before = test::usage();

    if (minutes > 0) {
        const auto length = std::chrono::duration<double>(60 * minutes);
        const auto samples = load.soak(std::chrono::duration_cast<Clock::duration>(length));
        right = isFlat(samples, minutes >= 1) && right;
        right = load.report() && right;
    }
    auto begin = Clock::now();
    load.burst(requests);
    std::cout << requests << " requests in " << secondsSince(begin) << " s\n";
    right = load.report() && right;

    begin = Clock::now();
    const test::Usage most = test::usage();
    const bool settled = test::settles(before, 30s);
    const test::Usage after = test::usage();
    std::cout << "peak memory " << test::processStatus("VmHWM:") << " KiB; threads "
              << before.threads << ", " << most.threads << ", " << after.threads
              << " and descriptors " << before.descriptors << ", " << most.descriptors << ", "
              << after.descriptors << ": before, at the end, and " << secondsSince(begin)
              << " s later\n";
    return right && settled ? EXIT_SUCCESS : EXIT_FAILURE;
}
