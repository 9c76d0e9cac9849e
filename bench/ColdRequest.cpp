// clang-format off: the HTTP library's headers define words that this one asks the compiler about
#include <curl/curl.h>
// clang-format on

#include "auth/COIDCHelper.h"
#include "bench/MemoryStore.h"
#include "testing/TestProvider.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

using auth::testing::TestProvider;

/// One provider for all: both sides trust its authority from the file that it made.
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

/// A request that takes a second connection, or none, is not the one that is to be measured.
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

/// The same two exchanges, whose answers nobody reads.
void coldRequestFloor(benchmark::State& state) {
    const std::string configUrl = provider().configUrl();
    const std::string tokenEndpoint = provider().tokenEndpoint();
    const std::string authority = provider().authorityFile();
    eachOnOneConnection(state, [&] {
        const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> owner(curl_easy_init(),
                                                                        &curl_easy_cleanup);
        CURL* const handle = owner.get();
        std::string answer;
        curl_easy_setopt(handle, CURLOPT_CAINFO, authority.c_str());
        curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &append);
        curl_easy_setopt(handle, CURLOPT_WRITEDATA, &answer);
        curl_easy_setopt(handle, CURLOPT_URL, configUrl.c_str());
        perform(handle, answer);
        curl_easy_setopt(handle, CURLOPT_URL, tokenEndpoint.c_str());
        curl_easy_setopt(handle, CURLOPT_POSTFIELDS,
                         "grant_type=client_credentials&client_id=service&client_secret=secret"
                         "&scope=api%3Aread%20api%3Awrite");
        perform(handle, answer);
    });
}

}  // namespace

BENCHMARK(coldRequest)->Name("cold request")->UseRealTime();
BENCHMARK(coldRequestFloor)->Name("cold request: floor")->UseRealTime();
