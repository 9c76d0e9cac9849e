#include "host/standalone/KeyringTokenStore.h"

#include "host/standalone/detail/Keyring.h"

#include <cpprest/asyncrt_utils.h>
#include <dlfcn.h>

#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace standalone {

using namespace detail;

namespace {

using Bytes = std::vector<std::uint8_t>;

/// Lies beside this library, wherever that was put, or else where the system looks for libraries.
fs::path modulePath() {
#ifdef OIDCAUTH_HOST_STATIC
    // Of a program, dladdr knows argv[0] only: whoever starts it could name the folder.
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

/// Never unloaded: the libraries beneath it have threads of their own.
const IKeyring& loadKeyring() {
    void* const module = ::dlopen(modulePath().c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    void* const give = module == nullptr ? nullptr : ::dlsym(module, "oidcauthKeyring");
    if (give == nullptr) {
        throw TokenStoreError(std::string("no keyring can be used: ") + ::dlerror());
    }
    return *reinterpret_cast<decltype(&::oidcauthKeyring)>(give)();
}

const IKeyring& keyring() {
    static const IKeyring& loaded = loadKeyring();
    return loaded;
}

Bytes decode(const KeyringEntry& entry, const std::string& text) {
    try {
        return utility::conversions::from_base64(text);
    } catch (const std::exception&) {
        refuse(entry, "was not written by this library; remove it and sign in again");
    }
}

}  // namespace

SecretKeyring::SecretKeyring(KeyringEntry entry, std::chrono::milliseconds limit)
    : m_entry(std::move(entry)), m_limit(limit) {}

void SecretKeyring::clear() {
    const std::lock_guard lock(m_mutex);
    m_cache.reset();
    keyring().clear(m_entry, m_limit);
}

Bytes SecretKeyring::read(bool reread) {
    const std::lock_guard lock(m_mutex);
    if (!m_cache || reread) {
        m_cache.reset();  // a read that fails says that the entry is not what it was
        const auto text = keyring().read(m_entry, m_limit);
        m_cache = text ? decode(m_entry, *text) : Bytes();
    }
    return *m_cache;
}

void SecretKeyring::write(const Bytes& bytes) {
    const std::lock_guard lock(m_mutex);
    m_cache.reset();  // until the new bytes are known to be there
    if (bytes.size() > maxSize) {
        refuse(m_entry, "is not written: the secret is too large for a token");
    }
    keyring().write(m_entry, utility::conversions::to_base64(bytes), m_limit);
    m_cache = bytes;
}

void SecretKeyring::prepareWrite() {
    constexpr std::size_t size = std::size_t{16} * 1024;  // of a record: a few kilobytes
    const std::lock_guard lock(m_mutex);
    const KeyringEntry beside{m_entry.provider, m_entry.client + " (trial)", m_entry.label};
    keyring().write(beside, std::string(size, '='), m_limit);
    keyring().clear(beside, m_limit);
}

}  // namespace standalone
