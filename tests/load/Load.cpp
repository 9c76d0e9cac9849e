// Many requests of all kinds at once, for a long time, to providers that fail in every way. Each
// request must end in an allowed way, and the process must not need more and more resources.

#include "auth/COIDCHelper.h"
#include "host/HttpProxyConfig.h"
#include "testing/TestBrowser.h"
#include "tests/load/Site.h"
#include "tests/support/JwtPayload.h"
#include "tests/support/LocalPort.h"
#include "tests/support/Outcome.h"
#include "tests/support/Usage.h"

#include <iomanip>
#include <iostream>

// This program's own host, with a short time-out.
web::http::client::http_client_config get_http_proxy_config(const web::uri& /*target*/) {
    web::http::client::http_client_config config;
    config.set_timeout(std::chrono::seconds(2));
    return config;
}

namespace {

using namespace load;
using auth::COIDCHelper;
using Clock = std::chrono::steady_clock;

/// Requests that wait for others wait long when these fail, but not for ever.
constexpr auto longest = 5min;

enum class Kind { Service, User, SignIn };

std::string nameOf(Kind kind) {
    return kind == Kind::Service ? "service" : kind == Kind::User ? "user" : "user, may sign in";
}

struct Application {
    Account account;
    std::shared_ptr<auth::IExclusivePermit> permit = COIDCHelper::makeExclusivePermit();
    std::unique_ptr<COIDCHelper> helper = std::make_unique<COIDCHelper>(
        std::make_unique<test::MemoryStore>(account.content), permit, nullptr);
};

struct Request {
    Kind kind;
    std::string client;
    std::shared_ptr<Site> site;  // outlives this object
    Clock::time_point begun = Clock::now();
    std::optional<Clock::time_point> cancelAt = {};
    Concurrency::cancellation_token_source source = {};
    Concurrency::task<CString> task = {};
};

/// How the request ended, with "!" in front if it must not end so.
std::string outcomeOf(const Request& request) {
    const std::string end = test::outcome([&] {
        try {
            const std::string token = request.task.get().toUtf8();
            return request.kind == Kind::Service
                       ? token.rfind("token-" + request.client + '-', 0) == 0
                       : test::payloadOf(token).find(R"("client_id":")" + request.client + '"') !=
                             std::string::npos;
        } catch (const std::system_error& failure) {
            // The token library has such exceptions, too, with its own codes.
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

/// Whether an event that occurs once in each period is due.
bool isDue(Clock::time_point& next, Clock::duration period) {
    const auto now = Clock::now();
    return now >= next && (next = now + period, true);
}

class Load {
public:
    Load() {
        for (int i = 0; i < 25; ++i) {
            m_services.push_back({{"service-" + std::to_string(i)}});
            // Some share an account and a permit.
            m_users.push_back(i % 5 == 4
                                  ? Application{m_users.back().account, m_users.back().permit}
                                  : Application{{"user-" + std::to_string(i)}});
            m_users.back().helper->setBrowserOpener([](const CString& url) {
                signIn(url.toUtf8());
                return true;
            });
        }
        openSites();
    }

    /// A few requests in sequence, while the providers still answer correctly.
    void warmUp() {
        for (int i = 0; i < 30; ++i) {
            burst(1);
        }
        m_isFaulty = true;
    }

    void burst(std::size_t requests) {
        for (const auto& user : m_users) {
            reseed(user.account);
        }
        for (std::size_t i = 0; i < requests; ++i) {
            begin();
        }
        finish();
    }

    /// Returns the resource usage during that time.
    std::vector<test::Usage> soak(Clock::duration length) {
        constexpr std::size_t mostAtOnce = 200;
        std::vector<test::Usage> samples;
        auto request = Clock::now();
        auto seed = request;
        auto site = request;
        auto sample = request;
        for (const auto end = request + length; Clock::now() < end; tick()) {
            if (m_running.size() < mostAtOnce && isDue(request, 5ms)) {
                begin();
            }
            if (isDue(seed, 100ms)) {
                reseed(m_users.at(below(m_users.size())).account);
            }
            if (isDue(site, 5s)) {
                openSites();
            }
            if (isDue(sample, length / 300)) {
                samples.push_back(test::usage());
            }
        }
        finish();
        return samples;
    }

    /// Prints the outcomes since the last report, and returns whether all were allowed.
    bool report() {
        openSites();  // so that the last ones have reported the tokens that they received
        bool isRight = true;
        for (const auto& [name, count] : m_counts) {
            std::cout << std::setw(8) << count << "  " << name << '\n';
            isRight = isRight && name.find(": !") == std::string::npos;
        }
        m_counts.clear();
        return isRight;
    }

private:
    /// New providers, because providers keep everything that they receive. All users have signed in
    /// there.
    void openSites() {
        for (auto* const site : {&m_serviceSite, &m_userSite}) {
            if (*site != nullptr) {
                for (const auto& request : (*site)->provider.requests(Endpoint::Token)) {
                    ++m_counts["received by the providers: " + request.field("grant_type")];
                }
            }
            *site = std::make_shared<Site>();
        }
        for (const auto& user : m_users) {
            m_userSite->seed(user.account);
        }
    }

    /// Like another program: the user has a valid token, an expired one, or none.
    void reseed(const Account& account) {
        const std::size_t choice = below(20);
        choice == 0 ? account.content->put({})
                    : m_userSite->seed(account, choice < 10 ? tokenLife : 0s);
    }

    void begin() {
        const std::size_t choice = below(100);
        const Kind kind = choice < 70 ? Kind::Service : choice < 85 ? Kind::User : Kind::SignIn;
        const bool isService = kind == Kind::Service;
        const auto& applications = isService ? m_services : m_users;
        const auto& [account, permit, helper] = applications.at(below(applications.size()));
        Request& request = m_running.emplace_back(
            Request{kind, (isService && below(2) == 0 ? "too-" : "") + account.client,
                    isService ? m_serviceSite : m_userSite});
        auto token = Concurrency::cancellation_token::none();
        if (below(100) < 15) {
            request.cancelAt = request.begun + std::chrono::milliseconds(below(1000));
            token = request.source.get_token();
        }
        const CString config = request.site->provider.configUrl();
        request.task =
            isService ? helper->getAccessTokenClientCredentialsAsync(config, request.client,
                                                                     "secret", "a b", 0, token)
                      : helper->getAccessTokenHybridAsync(config, request.client, "openid", m_urls,
                                                          0, token, kind == Kind::SignIn);
    }

    void finish() {
        while (!m_running.empty()) {
            tick();
        }
    }

    void tick() {
        m_running.remove_if([this](const Request& request) {
            if (request.task.is_done()) {
                ++m_counts[nameOf(request.kind) + ": " + outcomeOf(request)];
                return true;
            }
            const auto now = Clock::now();
            if (request.cancelAt && now >= *request.cancelAt) {
                request.source.cancel();
            }
            if (now > request.begun + longest) {
                std::cout << "WRONG: a request does not end: " << nameOf(request.kind) << std::endl;
                std::_Exit(EXIT_FAILURE);  // the helpers cannot be destroyed
            }
            return false;
        });
        if (m_isFaulty && isDue(m_serviceFault, 50ms)) {
            m_serviceSite->changeFault();
        }
        if (m_isFaulty &&
            isDue(m_userFault, 1s)) {  // all wait while one pauses after a failed refresh
            m_userSite->changeFault();
        }
        std::this_thread::sleep_for(1ms);
    }

    std::vector<Application> m_services;
    std::vector<Application> m_users;
    const std::vector<CString> m_urls{test::freeRedirectUrl(), test::freeRedirectUrl()};
    std::shared_ptr<Site> m_serviceSite;
    std::shared_ptr<Site> m_userSite;
    bool m_isFaulty = false;
    Clock::time_point m_serviceFault;
    Clock::time_point m_userFault;
    std::list<Request> m_running;
    std::map<std::string, std::size_t> m_counts;
};

/// Prints the usage in each fifth of the time, as medians, since requests come and go, and compares
/// the last fifth with the second one, because caches fill in the first. Does not judge runs of
/// less than a minute, since idle threads stay for ten seconds.
bool isFlat(const std::vector<test::Usage>& samples, bool isLong) {
    using test::Usage;
    bool isFlat = true;
    const auto tell = [&](const char* name, std::size_t Usage::*figure, std::size_t slack) {
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
        isFlat = isFlat && !grew;
    };
    tell("resident KiB", &Usage::residentKiB, 4096);
    tell("heap KiB", &Usage::heapKiB, 2048);
    tell("threads", &Usage::threads, 20);
    tell("descriptors", &Usage::descriptors, 20);
    return isFlat;
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
    bool isRight = load.report();
    const test::Usage before = test::usage();

    if (minutes > 0) {
        const auto length = std::chrono::duration<double>(60 * minutes);
        const auto samples = load.soak(std::chrono::duration_cast<Clock::duration>(length));
        isRight = isFlat(samples, minutes >= 1) && isRight;
        isRight = load.report() && isRight;
    }
    auto begin = Clock::now();
    load.burst(requests);
    std::cout << requests << " requests in " << secondsSince(begin) << " s\n";
    isRight = load.report() && isRight;

    begin = Clock::now();
    const test::Usage most = test::usage();
    const bool settled = test::settles(before, 30s);
    const test::Usage after = test::usage();
    std::cout << "peak memory " << test::usage().peakKiB << " KiB; threads " << before.threads
              << ", " << most.threads << ", " << after.threads << " and descriptors "
              << before.descriptors << ", " << most.descriptors << ", " << after.descriptors
              << ": before, at the end, and " << secondsSince(begin) << " s later\n";
    return isRight && settled ? EXIT_SUCCESS : EXIT_FAILURE;
}
