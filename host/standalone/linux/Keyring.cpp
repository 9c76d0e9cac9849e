#include "host/standalone/detail/Keyring.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace standalone::detail {

namespace {

/// The module is beside this library, wherever that is installed, or else where the system looks
/// for libraries.
fs::path modulePath() {
#ifdef OIDCAUTH_HOST_STATIC
    // For a statically linked program, dladdr only knows argv[0], which the caller chooses: it
    // could name any folder.
    return OIDCAUTH_KEYRING_MODULE;
#else
    Dl_info library{};
    static const char here = 0;
    ::dladdr(&here, &library);
    const auto beside = fs::path(library.dli_fname).parent_path() / OIDCAUTH_KEYRING_MODULE;
    std::error_code ignored;
    return fs::exists(beside, ignored) ? beside : fs::path(OIDCAUTH_KEYRING_MODULE);
#endif
}

/// Never unloaded: the libraries that it uses have their own threads.
const IKeyring& loadKeyring() {
    void* const module = ::dlopen(modulePath().c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    void* const give = module == nullptr ? nullptr : ::dlsym(module, "oidcauthKeyring");
    if (give == nullptr) {
        throw TokenStoreError(std::string("no keyring can be used: ") + ::dlerror());
    }
    return *reinterpret_cast<decltype(&::oidcauthKeyring)>(give)();
}

}  // namespace

const IKeyring& keyring() {
    static const IKeyring& loaded = loadKeyring();
    return loaded;
}

}  // namespace standalone::detail
