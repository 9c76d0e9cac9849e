// clang-format off: the HTTP library's headers define words that this header uses in compiler
// checks
#include <curl/curl.h>
// clang-format on

#include "auth/COIDCHelper.h"
#include "bench/MemoryStore.h"
#include "bench/TokenRecord.h"
#include "testing/TestProvider.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

using auth::testing::TestProvider;

/// One provider for all: both sides trust its authority from the file that it wrote.
TestProvider& provider() {
    static TestProvider instance({true, "", {}});
    static const bool prepared = [] {
        ::setenv("SSL_CERT_FILE", instance.authorityFile().c_str(), 1);
        ::setenv("no_proxy", "127.0.0.1", 1);
        return curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    }();
    if (!prepared) {
        throw std::runtime_error("cannot prepare libcurl");
    }
    return instance;
}

/// Only requests over exactly one new connection are measured.
template <class Request>
void eachOnOneConnection(benchmark::State& state, const Request& request) {
    const unsigned before = provider().connections();
    while (state.KeepRunning()) {
        request();
    }
    if (provider().connections() - before != state.iterations()) {
        state.SkipWithError("not one connection per request");
    }
}

std::size_t append(const char* bytes, std::size_t size, std::size_t count, void* text) {
    static_cast<std::string*>(text)->append(bytes, size * count);
    return size * count;
}

void perform(CURL* handle, std::string& answer) {
    long status = 0;
    if (curl_easy_perform(handle) != CURLE_OK ||
        curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status) != CURLE_OK || status != 200 ||
        answer.empty()) {
        throw std::runtime_error("the floor's exchange failed");
    }
    benchmark::DoNotOptimize(answer.data());
    answer.clear();
}

/// A client of libcurl that sends each request over its existing connection.
class Floor {
public:
    Floor() {
        curl_easy_setopt(m_handle.get(), CURLOPT_CAINFO, provider().authorityFile().c_str());
        curl_easy_setopt(m_handle.get(), CURLOPT_WRITEFUNCTION, &append);
        curl_easy_setopt(m_handle.get(), CURLOPT_WRITEDATA, &m_answer);
    }

    void get(const std::string& url) {
        curl_easy_setopt(m_handle.get(), CURLOPT_URL, url.c_str());
        perform(m_handle.get(), m_answer);
    }
    void post(const std::string& url, const std::string& form) {
        curl_easy_setopt(m_handle.get(), CURLOPT_POSTFIELDS, form.c_str());
        get(url);
    }

private:
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> m_handle{curl_easy_init(),
                                                                 &curl_easy_cleanup};
    std::string m_answer;
};

void coldRequest(benchmark::State& state) {
    const CString configUrl(provider().configUrl());
    const CString clientId("service");
    const CString secret("secret");
    const CString scopes("api:read api:write");
    eachOnOneConnection(state, [&] {
        auth::COIDCHelper helper(std::make_unique<bench::MemoryStore>(),
                                 auth::COIDCHelper::makeExclusivePermit(), nullptr);
        benchmark::DoNotOptimize(
            helper.getAccessTokenClientCredentials(configUrl, clientId, secret, scopes, 5));
    });
}

/// The same two exchanges; the answers are not read.
void coldRequestFloor(benchmark::State& state) {
    const std::string configUrl = provider().configUrl();
    const std::string tokenEndpoint = provider().tokenEndpoint();
    eachOnOneConnection(state, [&] {
        Floor client;
        client.get(configUrl);
        client.post(tokenEndpoint,
                    "grant_type=client_credentials&client_id=service&client_secret=secret"
                    "&scope=api%3Aread%20api%3Awrite");
    });
}

void refresh(benchmark::State& state) {
    constexpr unsigned int longerThanAnyToken = 1'000'000;  // minutes
    const CString configUrl(provider().configUrl());
    const std::string first = provider().issueRefreshToken("desktop");
    // Each refresh replaces the record.
    auth::COIDCHelper helper(std::make_unique<bench::MemoryStore>(
                                 bench::tokenRecord("access", first, {}, "desktop", {"openid"})),
                             auth::COIDCHelper::makeExclusivePermit(), nullptr);
    eachOnOneConnection(state, [&] {
        benchmark::DoNotOptimize(helper.getAccessTokenHybrid(configUrl, "desktop", "openid", {},
                                                             longerThanAnyToken, false));
    });
}

/// The same three exchanges.
void refreshFloor(benchmark::State& state) {
    const std::string configUrl = provider().configUrl();
    const std::string keysUrl = provider().url(auth::testing::Endpoint::Keys);
    const std::string tokenEndpoint = provider().tokenEndpoint();
    eachOnOneConnection(state, [&] {
        Floor client;
        client.get(configUrl);
        client.get(keysUrl);
        client.post(tokenEndpoint, "grant_type=refresh_token&client_id=desktop&refresh_token=" +
                                       provider().issueRefreshToken("desktop"));
    });
}

}  // namespace

BENCHMARK(coldRequest)->Name("cold request")->UseRealTime();
BENCHMARK(coldRequestFloor)->Name("cold request: floor")->UseRealTime();
BENCHMARK(refresh)->Name("refresh")->UseRealTime();
BENCHMARK(refreshFloor)->Name("refresh: floor")->UseRealTime();
