#include "auth/COIDCHelper.h"
#include "bench/MemoryStore.h"
#include "bench/TokenRecord.h"
#include "host/standalone/FileTokenStore.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;
using Store = ISecretStore<auth::COIDCToken>;

/// As long as a service's RS256 token, and like any base64url text hard to compress.
std::string accessToken() {
    constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::mt19937 random;  // NOLINT(cert-msc51-cpp,cert-msc32-c): the same token in every run
    std::string text(900, '.');
    for (char& character : text) {
        character = alphabet[random() % alphabet.size()];
    }
    return text;
}

Bytes tokenRecord() {
    using Ticks = auth::COIDCToken::TimePoint::duration;
    const auto expiry = std::chrono::system_clock::now() + std::chrono::hours(24);
    return bench::tokenRecord(accessToken(), {}, std::chrono::time_point_cast<Ticks>(expiry),
                              "service", {"api:read", "api:write", "openid"});
}

fs::path folder() {
    return fs::temp_directory_path() / ("bench_oidcauth-" + std::to_string(::getpid()));
}
fs::path file() {
    return folder() / "token";
}

std::unique_ptr<Store> storeInMemory() {
    return std::make_unique<bench::MemoryStore>(tokenRecord());
}
std::unique_ptr<Store> storeInFile() {
    auto store = std::make_unique<standalone::FileTokenStore<auth::COIDCToken>>(file());
    store->write(tokenRecord());
    // The store does not remember a file that has just changed; hardly any record is that young.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    return store;
}

Bytes readFile() {
    const int descriptor = ::open(file().c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    ::fstat(descriptor, &status);
    Bytes bytes(static_cast<std::size_t>(status.st_size));
    const auto count = ::read(descriptor, bytes.data(), bytes.size());
    ::close(descriptor);
    if (count <= 0) {
        throw std::runtime_error("cannot read the record's file");
    }
    return bytes;
}

/// Unpacks a record and extracts its texts, the access token first, with no check that could be
/// left out.
std::vector<std::u16string> plainTexts(const Bytes& packed) {
    constexpr std::size_t sizeOffset = 12;
    constexpr std::size_t headerSize = 16;
    std::uint32_t size = 0;
    std::memcpy(&size, packed.data() + sizeOffset, sizeof(size));
    Bytes content(size);
    uLongf unpacked = size;
    if (uncompress(content.data(), &unpacked, packed.data() + headerSize,
                   static_cast<uLong>(packed.size() - headerSize)) != Z_OK) {
        throw std::runtime_error("cannot unpack the record");
    }
    const std::uint8_t* next = content.data() + 1 + std::strlen("OIDCToken");
    const auto take = [&next](void* target, std::size_t bytes) {
        std::memcpy(target, next, bytes);
        next += bytes;
    };
    const auto text = [&] {
        next += 3;  // the mark of wide text
        std::uint16_t length = *next++;
        if (length == 0xFF) {
            take(&length, sizeof(length));
        }
        std::u16string units(length, u'\0');
        take(units.data(), 2 * units.size());
        return units;
    };
    std::vector<std::u16string> texts{text(), text()};  // access and refresh token
    next += sizeof(std::int64_t);                       // expiry
    texts.push_back(text());                            // client
    std::uint32_t scopes = 0;
    take(&scopes, sizeof(scopes));
    for (std::uint32_t i = 0; i <= scopes; ++i) {  // and the ID token
        texts.push_back(text());
    }
    return texts;
}

void request(benchmark::State& state, std::unique_ptr<Store> (*makeStore)()) {
    auth::COIDCHelper helper(makeStore(), auth::COIDCHelper::makeExclusivePermit(), nullptr);
    // Nobody listens there: if the store cannot answer a request, the benchmark ends.
    const CString configUrl("http://127.0.0.1:1/");
    const CString clientId("service");
    const CString secret("secret");
    const CString scopes("api:read api:write");
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(
            helper.getAccessTokenClientCredentials(configUrl, clientId, secret, scopes, 5));
    }
    fs::remove_all(folder());
}

template <class Read>
void measureFloor(benchmark::State& state, const Read& read) {
    if (plainTexts(read()).front() != CString(accessToken()).view()) {
        throw std::runtime_error("the floor reads another token");
    }
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(plainTexts(read()));
    }
    fs::remove_all(folder());
}

void storeFloor(benchmark::State& state, std::unique_ptr<Store> (*makeStore)()) {
    const auto store = makeStore();
    measureFloor(state, [&] {
        Bytes bytes;
        store->read(bytes, false);
        return bytes;
    });
}

void fileFloor(benchmark::State& state) {
    storeInFile();
    measureFloor(state, readFile);
}

void record(benchmark::State& state, std::unique_ptr<Store> (*makeStore)()) {
    const auto store = makeStore();
    Bytes bytes;
    while (state.KeepRunning()) {
        store->read(bytes, false);
        benchmark::DoNotOptimize(bytes.data());
    }
    fs::remove_all(folder());
}

}  // namespace

BENCHMARK_CAPTURE(request, , storeInMemory)->Name("stored token, memory")->UseRealTime();
BENCHMARK_CAPTURE(storeFloor, , storeInMemory)->Name("stored token, memory: floor")->UseRealTime();
BENCHMARK_CAPTURE(request, , storeInFile)->Name("stored token, file")->UseRealTime();
BENCHMARK_CAPTURE(storeFloor, , storeInFile)->Name("stored token, file: floor")->UseRealTime();
BENCHMARK(fileFloor)->Name("stored token, file: floor that opens the file")->UseRealTime();
BENCHMARK_CAPTURE(record, , storeInFile)->Name("record, unchanged file")->UseRealTime();
BENCHMARK_CAPTURE(record, , storeInMemory)->Name("record, unchanged file: floor")->UseRealTime();
