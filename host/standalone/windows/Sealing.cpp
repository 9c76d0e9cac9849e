#include "host/standalone/detail/Sealing.h"

#include "host/standalone/TokenStoreError.h"
#include "host/standalone/windows/Handle.h"

#include <dpapi.h>
#include <windows.h>

#include <array>

namespace standalone::detail {

const std::size_t sealingRoom = 4096;

namespace {

using Bytes = std::vector<std::uint8_t>;

/// The pointer must not be null, even if the length is 0.
DATA_BLOB blobOf(Bytes& bytes) {
    static BYTE nothing = 0;
    return {static_cast<DWORD>(bytes.size()), bytes.empty() ? &nothing : bytes.data()};
}

/// So that nothing else that programs of this user have encrypted is accepted as a record.
DATA_BLOB purpose() {
    static std::array<BYTE, 22> text{"OIDCAuth token record"};
    return {static_cast<DWORD>(text.size()), text.data()};
}

/// Memory that the system has allocated.
class Made {
public:
    Made() = default;
    ~Made() {
        if (m_blob.pbData != nullptr) {
            ::SecureZeroMemory(m_blob.pbData, m_blob.cbData);
            ::LocalFree(m_blob.pbData);
        }
    }
    Made(const Made&) = delete;
    Made& operator=(const Made&) = delete;

    DATA_BLOB* put() { return &m_blob; }
    Bytes bytes() const { return {m_blob.pbData, m_blob.pbData + m_blob.cbData}; }

private:
    DATA_BLOB m_blob{};
};

}  // namespace

Bytes seal(const std::filesystem::path& file, Bytes bytes) {
    DATA_BLOB plain = blobOf(bytes);
    DATA_BLOB entropy = purpose();
    Made sealed;
    if (::CryptProtectData(&plain, nullptr, &entropy, nullptr, nullptr, CRYPTPROTECT_UI_FORBIDDEN,
                           sealed.put()) == 0) {
        failSystem(file, "cannot be encrypted for its user");
    }
    return sealed.bytes();
}

namespace {

[[noreturn]] void refuse(const std::filesystem::path& file) {
    // With other errors the record may be undamaged: the user's profile may be missing, or memory.
    const auto error = static_cast<HRESULT>(::GetLastError());
    if (error != ERROR_INVALID_DATA && error != NTE_BAD_KEY_STATE && error != NTE_BAD_DATA) {
        failSystem(file, "cannot be decrypted");
    }
    try {
        failSystem(file,
                   "cannot be decrypted: it is damaged, or was not written for this user; remove "
                   "it and sign in again");
    } catch (const TokenStoreError& failure) {
        throw DamagedSecret(failure.what());
    }
}

}  // namespace

Bytes unseal(const std::filesystem::path& file, Bytes bytes) {
    DATA_BLOB sealed = blobOf(bytes);
    DATA_BLOB entropy = purpose();
    Made plain;
    if (::CryptUnprotectData(&sealed, nullptr, &entropy, nullptr, nullptr,
                             CRYPTPROTECT_UI_FORBIDDEN, plain.put()) == 0) {
        refuse(file);
    }
    return plain.bytes();
}

}  // namespace standalone::detail
