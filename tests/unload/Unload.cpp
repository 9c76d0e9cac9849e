// Repeatedly opens a plugin that uses the library, and closes it while its last work is ending. No
// round may crash or leave anything behind.

#include "testing/TestProvider.h"
#include "tests/support/Usage.h"

#include <dlfcn.h>

#include <iostream>

namespace {

using auth::testing::Endpoint;
using auth::testing::TestProvider;

void round(const char* plugin) {
    const TestProvider provider;
    TestProvider silent;
    silent.neverAnswer(Endpoint::Discovery);

    void* const handle = ::dlopen(plugin, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        throw std::runtime_error(::dlerror());
    }
    const auto use =
        reinterpret_cast<bool (*)(const char*, const char*)>(::dlsym(handle, "useLibrary"));
    if (use == nullptr || !use(provider.configUrl().c_str(), silent.configUrl().c_str())) {
        throw std::runtime_error("the library did not serve");
    }
    ::dlclose(handle);
}

void print(const char* name, const test::Usage& usage) {
    std::cout << name << ": resident " << usage.residentKiB << " KiB, heap " << usage.heapKiB
              << " KiB, " << usage.threads << " threads, " << usage.descriptors << " descriptors\n";
}

int run(const char* plugin, int rounds) {
    // The first rounds fill caches that a process fills once.
    for (int i = 0; i < rounds / 10; ++i) {
        round(plugin);
    }
    const test::Usage before = test::usage();
    for (int i = 0; i < rounds; ++i) {
        round(plugin);
    }
    const bool settled = test::settles(before, std::chrono::seconds(30));
    const test::Usage after = test::usage();
    print("before", before);
    print("after", after);
    // Half a KiB per round: less than any request uses.
    const bool grew = after.heapKiB > before.heapKiB + static_cast<std::size_t>(rounds) / 2;
    return settled && !grew ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) try {
    return argc == 3 ? run(argv[1], std::stoi(argv[2])) : EXIT_FAILURE;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return EXIT_FAILURE;
}
