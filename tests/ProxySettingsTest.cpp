#include "host/HttpProxyConfig.h"
#include "host/standalone/ProxyList.h"
#include "host/standalone/ProxySettings.h"
#include "tests/support/Test.h"
#include "tests/support/Variable.h"
#include "tests/support/Wide.h"

#include <cpprest/http_client.h>

using standalone::ProxySettings;
using standalone::ProxySettingsError;
using test::to_string_t;
using test::to_utf8string;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

using Environment = std::map<std::string, std::string>;

/// The settings that apply to `target`, as one text.
template <class Settings>
std::string routeBy(const Settings& settings, const std::string& target) {
    try {
        const auto proxy = settings.proxyFor(web::uri(to_string_t(target)));
        if (!proxy) {
            return "direct";
        }
        const auto credentials =
            proxy->user.empty() ? "" : proxy->user + " " + proxy->password + " ";
        return credentials + to_utf8string(proxy->address.to_string());
    } catch (const ProxySettingsError& error) {
        return std::string("error: ") + error.what();
    }
}

ProxySettings settingsOf(const Environment& environment) {
    return ProxySettings([&](const std::string& name) {
        const auto found = environment.find(name);
        return found == environment.end() ? std::nullopt : std::optional(found->second);
    });
}

std::string routeOf(const Environment& environment, const std::string& target) {
    return routeBy(settingsOf(environment), target);
}

TEST(ProxySettings, TakesTheVariableThatCounts) {
    struct Case {
        Environment environment;
        std::string target;
        std::string route;
    };
    const std::vector<Case> cases{
        {{}, "https://a.test/", "direct"},
        {{{"http_proxy", "p:1"}}, "http://a.test/", "http://p:1/"},
        {{{"http_proxy", "p:1"}}, "https://a.test/", "direct"},
        {{{"HTTPS_PROXY", "p:1"}}, "https://a.test/", "http://p:1/"},
        {{{"https_proxy", "low:1"}, {"HTTPS_PROXY", "up:1"}}, "https://a.test", "http://low:1/"},
        {{{"https_proxy", " "}, {"HTTPS_PROXY", "up:1"}}, "https://a.test", "http://up:1/"},
        {{{"all_proxy", "all:1"}, {"http_proxy", "p:1"}}, "https://a.test", "http://all:1/"},
        {{{"all_proxy", "all:1"}, {"http_proxy", "p:1"}}, "http://a.test", "http://p:1/"},
        {{{"HTTP_PROXY", "up:1"}}, "http://a.test", "http://up:1/"},
        {{{"HTTP_PROXY", "up:1"}, {"REQUEST_METHOD", "GET"}}, "http://a.test", "direct"},
        {{{"http_proxy", "p:1"}, {"REQUEST_METHOD", ""}}, "http://a.test", "http://p:1/"},
        // A variable for other targets may have any value.
        {{{"all_proxy", "socks5://s:1"}, {"https_proxy", "p:1"}}, "https://a.test", "http://p:1/"},
        {{{"all_proxy", "socks5://s:1"}, {"no_proxy", "a.test"}}, "https://a.test", "direct"},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(routeOf(each.environment, each.target), each.route)
            << testing::PrintToString(each.environment) << ' ' << each.target;
    }
}

TEST(ProxySettings, ReadsProxyAddresses) {
    const std::vector<std::pair<const char*, const char*>> cases{
        {"proxy.test", "http://proxy.test:80/"},
        {"HTTP://Proxy.test.:3128/", "http://proxy.test:3128/"},
        {"http://u:p@proxy:1", "u p http://proxy:1/"},
        {"u%40corp:p%3a%2F%C3%A4@proxy:1", "u@corp p:/\u00e4 http://proxy:1/"},
        {"u:p:q@r@proxy:1", "u p:q@r http://proxy:1/"},
        {"u@proxy:1", "u  http://proxy:1/"},
        {"http://[::1]:8080", "http://[::1]:8080/"},
        {"u:p@[fd00::1]", "u p http://[fd00::1]:80/"},
    };
    for (const auto& [text, route] : cases) {
        EXPECT_EQ(routeOf({{"https_proxy", text}}, "https://a.test"), route);
    }

    for (const auto* const scheme : {"socks", "socks5h", "SOCKS4", "https"}) {
        const auto error =
            routeOf({{"ALL_PROXY", std::string(scheme) + "://u:s3cret@p:1"}}, "https://a.test");
        EXPECT_THAT(error, StartsWith("error: ALL_PROXY names a proxy with the scheme "));
        EXPECT_THAT(error, Not(HasSubstr("s3cret")));
    }
    std::vector<std::string> bad = {"http://",
                                    "://p",
                                    "s3cret p://x",
                                    "s3cret:x://p:1",
                                    "http://u:s3cret@:3128",
                                    "u:s3cret/x@p",
                                    "u:s3cret%zz@p:1",
                                    "u:s3cret%@p:1"};
    for (const auto* const place :
         {"", "p:", "p:0", "p:65536", "p:99999999999999999999", "p:-1", "p:8o", "p:1/path", "p?q",
          "[::1", "[::1]x", "::g", "p q:1", "p\n:1"}) {
        bad.push_back(std::string("u:s3cret@") + place);
    }
    for (const std::string& text : bad) {
        const auto error = routeOf({{"https_proxy", text}}, "https://a.test");
        EXPECT_THAT(error, StartsWith("error: https_proxy is not a proxy address")) << text;
        EXPECT_THAT(error, Not(HasSubstr("s3cret")));
    }
}

TEST(ProxySettings, ReachesListedTargetsDirectly) {
    struct Case {
        const char* direct;
        std::vector<const char*> inside;
        std::vector<const char*> outside;
    };
    const std::vector<Case> cases{
        {"*", {"https://a.test", "http://[::1]:9"}, {}},
        {"x, *", {"https://a.test"}, {}},
        {"example.com",
         {"https://example.com", "https://EXAMPLE.com.:444/", "https://a.b.example.com"},
         {"https://badexample.com", "https://example.com.org", "https://com"}},
        {".Example.com.", {"https://example.com", "https://a.example.com"}, {"https://ample.com"}},
        {"*.example.com",
         {"https://example.com", "https://a.example.com"},
         {"https://xexample.com"}},
        {"a.test b.test,,c.test\t,", {"https://b.test", "https://c.test"}, {"https://d.test"}},
        {"a.test:443",
         {"https://a.test", "http://a.test:443"},
         {"https://a.test:8443", "http://a.test"}},
        {"a.test:0 b.test:x c.test: :443 [ ] [] . *. .. /8 1.2.3.4/",
         {},
         {"https://a.test", "https://b.test", "https://c.test", "https://1.2.3.4",
          "https://[::1]"}},
        {"127.0.0.1", {"http://127.0.0.1:8080"}, {"http://127.0.0.2", "http://localhost"}},
        {".0.0.1,1", {}, {"http://127.0.0.1"}},
        {"::1", {"http://[::1]", "http://[0:0::1]:8080"}, {"http://[::2]"}},
        {"[::1]", {"http://[::1]:8080"}, {"http://[::2]"}},
        {"[::1]:80", {"http://[::1]"}, {"http://[::1]:8080"}},
        {"10.0.0.0/8 172.16.9.9/12",
         {"http://10.255.0.255", "http://10.0.0.0", "http://172.31.0.1"},
         {"http://11.0.0.1", "http://172.32.0.1", "http://[::a00:1]", "http://10.a.test"}},
        {"fd00::/8", {"https://[fdff::1]"}, {"https://[fe00::1]", "https://253.0.0.1"}},
        {"0.0.0.0/0", {"https://1.2.3.4"}, {"https://[::1]", "https://a.test"}},
        {"1.2.3.4/33 1.2.3.4/-1 1.2.3.4/x", {}, {"https://1.2.3.4"}},
    };
    for (const auto& each : cases) {
        const Environment environment{{"all_proxy", "p:1"}, {"no_proxy", each.direct}};
        for (const auto* const target : each.inside) {
            EXPECT_EQ(routeOf(environment, target), "direct") << each.direct << " | " << target;
        }
        for (const auto* const target : each.outside) {
            EXPECT_EQ(routeOf(environment, target), "http://p:1/")
                << each.direct << " | " << target;
        }
    }
}

TEST(ProxyList, ChoosesAsWindowsDoes) {
    struct Case {
        std::string proxies;
        std::string bypass;
        std::string target;
        std::string route;
    };
    const std::string list = "http=h:1;https=s:2;socks=k:3";
    const std::vector<Case> cases{
        {"", "", "https://a.test", "direct"},
        {"p:1", "", "https://a.test", "http://p:1/"},
        {" ; p ;q:2", "", "http://a.test", "http://p:80/"},
        {list, "", "https://a.test", "http://s:2/"},
        {list, "", "http://a.test", "http://h:1/"},
        {"socks=k:3 ftp=f:4", "", "http://a.test", "direct"},
        {"p:1 HTTPS=http://U:P@s:2/", "", "https://a.test", "U P http://s:2/"},
        {"p:1 HTTPS=s:2", "", "http://a.test", "http://p:1/"},
        {"https=s:2 http://U:P=1@p:3", "", "http://a.test", "U P=1 http://p:3/"},
        {"https=https://s3cret:2", "", "https://a.test",
         "error: the system's proxy setting names a proxy with the scheme https, which is not "
         "supported: only http is"},
        {"https=:2", "a.test", "https://a.test", "direct"},
        {"https=:2", "", "https://a.test",
         "error: the system's proxy setting is not a proxy address: expected "
         "http://[user:password@]host[:port]"},
    };
    for (const auto& [proxies, bypass, target, route] : cases) {
        EXPECT_EQ(routeBy(standalone::ProxyList{proxies, bypass}, target), route) << proxies;
    }
}

TEST(ProxyList, ReachesBypassedTargetsDirectly) {
    struct Case {
        const char* bypass;
        std::vector<const char*> inside;
        std::vector<const char*> outside;
    };
    const std::vector<Case> cases{
        {"",
         {"http://localhost:9", "http://a.LOCALHOST", "https://127.1.2.3", "http://[::1]"},
         {"https://a.test", "http://mylocalhost", "https://128.0.0.1", "https://intranet"}},
        {"x;<-loopback>", {"http://x"}, {"http://localhost", "http://127.0.0.1", "http://[::1]"}},
        {"<LOCAL>",
         {"https://intranet", "https://intranet.:8443"},
         {"https://a.test", "https://1.2.3.4", "https://[fd00::1]"}},
        {"a.test",
         {"https://A.test."},
         {"https://b.a.test", "https://a.test.org", "https://xa.test"}},
        {"b.test *.A.test",
         {"https://b.a.test", "https://c.b.a.test:8443", "https://b.test"},
         {"https://a.test", "https://xa.test", "https://b.a.test.org"}},
        {"10.*;*b*c",
         {"http://10.1.2.3", "http://10.a", "http://xbxbxc", "http://bc"},
         {"http://110.1.2.3", "http://xbxcx"}},
        {"*", {"https://a.test", "https://[::2]"}, {}},
        {"http://a.test;https://b.test;a.test:81 [fd00::*]",
         {"http://a.test", "https://b.test", "https://a.test:81", "https://[fd00::9]"},
         {"https://a.test", "http://b.test", "https://[fd01::9]"}},
        {":443;://;<local;a.test:x;;*:81", {"http://x.test:81"}, {"https://a.test", "https://x"}},
    };
    for (const auto& [bypass, inside, outside] : cases) {
        const standalone::ProxyList list{"p:1", bypass};
        for (const auto* const target : inside) {
            EXPECT_EQ(routeBy(list, target), "direct") << bypass << " | " << target;
        }
        for (const auto* const target : outside) {
            EXPECT_EQ(routeBy(list, target), "http://p:1/") << bypass << " | " << target;
        }
    }
}

/// If it does not, the system's settings are used.
TEST(ProxySettings, TellsWhetherTheEnvironmentDecides) {
    for (const auto& [environment, http, https] : std::vector<std::tuple<Environment, bool, bool>>{
             {{}, false, false},
             {{{"http_proxy", "p"}}, true, false},
             {{{"https_proxy", ""}, {"no_proxy", "b.test"}}, false, false},
             {{{"all_proxy", "::"}}, true, true},
             {{{"no_proxy", "a.test:443"}}, false, true},
         }) {
        const auto settings = settingsOf(environment);
        EXPECT_EQ(settings.decides(web::uri(to_string_t("http://a.test"))), http);
        EXPECT_EQ(settings.decides(web::uri(to_string_t("https://a.test"))), https);
    }
}

TEST(HttpProxyConfig, SaysHowTheHttpLibraryConnects) {
    const test::Variable proxy("https_proxy", "u:p@[::1]:8080");
    const test::Variable none("no_proxy", "b.test");
    const auto proxied = get_http_proxy_config(web::uri(to_string_t("https://a.test")));
    const auto direct = get_http_proxy_config(web::uri(to_string_t("https://b.test")));
    const auto address = to_utf8string(proxied.proxy().address().host());
    EXPECT_THAT(address, testing::AnyOf("::1", "[::1]")) << "as the client of the system wants it";
    EXPECT_EQ(proxied.proxy().address().port(), 8080);
    EXPECT_EQ(to_utf8string(proxied.proxy().credentials().username()), "u");
    EXPECT_EQ(proxied.timeout(), std::chrono::seconds(30));
    EXPECT_TRUE(direct.proxy().is_disabled());
}

}  // namespace
