#include "host/standalone/KeyringTokenStore.h"

#include "host/standalone/detail/Keyring.h"

#include <cpprest/asyncrt_utils.h>

#include <exception>
#include <utility>

namespace standalone {

using namespace detail;

namespace {

using Bytes = std::vector<std::uint8_t>;
using utility::conversions::from_base64;
using utility::conversions::to_base64;
using utility::conversions::to_string_t;
using utility::conversions::to_utf8string;

Bytes decode(const KeyringEntry& entry, const std::string& text) {
    try {
        return from_base64(to_string_t(text));
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
        m_cache.reset();  // a failed read means that the cached entry is out of date
        const auto text = keyring().read(m_entry, m_limit);
        m_cache = text ? decode(m_entry, *text) : Bytes();
    }
    return *m_cache;
}

void SecretKeyring::write(const Bytes& bytes) {
    const std::lock_guard lock(m_mutex);
    m_cache.reset();  // until the new bytes are known to be stored
    if (bytes.size() > maxSize) {
        refuse(m_entry, "is not written: the secret is too large for a token");
    }
    keyring().write(m_entry, to_utf8string(to_base64(bytes)), m_limit);
    m_cache = bytes;
}

void SecretKeyring::prepareWrite() {
    constexpr std::size_t size = std::size_t{16} * 1024;  // the size of a record: a few kilobytes
    const std::lock_guard lock(m_mutex);
    const KeyringEntry beside{m_entry.provider, m_entry.client + " (trial)", m_entry.label};
    keyring().write(beside, std::string(size, '='), m_limit);
    keyring().clear(beside, m_limit);
}

}  // namespace standalone
