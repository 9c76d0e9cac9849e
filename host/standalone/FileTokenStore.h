#pragma once

#include "host/Export.h"
#include "host/ISecretStore.h"
#include "host/standalone/TokenStoreError.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <vector>

namespace standalone {

namespace detail {
class TemporaryFile;
}

/// The bytes of one secret in a file that only its user can read.
///
/// The file has mode 0600 and its folder 0700; missing folders are made. A folder or file that is a
/// symbolic link, belongs to another user, or is open to others in any way is refused, never
/// repaired: what lay there may be known already. A write replaces the whole file at once, and is
/// on the disk when it returns; whatever happens, the old or the new bytes remain.
///
/// On Windows an access list stands for the mode: the user, SYSTEM and Administrators, and nothing
/// that is inherited. There the system also encrypts the bytes for the user on this machine; what
/// it cannot decrypt is refused. If another program has the file open and does not share
/// it, reading, replacing and removing are tried again for a second.
///
/// Safe for several threads, and several processes may use one file: the last write wins.
/// All members throw TokenStoreError.
class OIDCAUTH_HOST_API SecretFile {
public:
    /// In bytes. Far above any token record; keeps a wrong file from filling the memory.
    static constexpr std::size_t maxSize = std::size_t{1} << 20U;

    /// A relative path is taken from the current folder of now.
    explicit SecretFile(const std::filesystem::path& file);
    ~SecretFile();
    SecretFile(const SecretFile&) = delete;
    SecretFile& operator=(const SecretFile&) = delete;

    /// Removes the file, and what killed writers left of it. On Windows the removal may reach the
    /// disk a moment later.
    void clear();

    /// The bytes, or none when there is no file. With `reread` they come from the file. Otherwise
    /// they may be those that this object read last, if one look at identity, size and times of the
    /// file, which takes about a microsecond (on Windows, as long as to open it), finds it
    /// unchanged: what another process or program writes, removes, replaces or opens to others
    /// shows at once. (On a network file system, once that has noticed.)
    std::vector<std::uint8_t> read(bool reread);

    void write(const std::vector<std::uint8_t>& bytes);

    /// Makes the new file of the next write and reserves space on the disk for it: for who asks for
    /// a secret that can be had only once. Given back with this object where no write follows.
    void prepareWrite();

private:
    struct Remembered;

    std::unique_ptr<detail::TemporaryFile> makeTemporary() const;

    std::mutex m_mutex;  // guards the rest; writers of other processes need no lock
    std::filesystem::path m_file;
    std::filesystem::path m_folder;
    std::unique_ptr<detail::TemporaryFile> m_prepared;
    std::unique_ptr<const Remembered> m_remembered;
};

/// Keeps the library's secret of type T in a SecretFile. Written as empty, it is removed.
template <class T>
class FileTokenStore final : public ISecretStore<T> {
public:
    explicit FileTokenStore(const std::filesystem::path& file) : m_file(file) {}

    void clear() override { m_file.clear(); }
    void read(std::vector<std::uint8_t>& bytes, bool reread) override {
        bytes.clear();  // also when reading fails
        bytes = m_file.read(reread);
    }
    void write(const std::vector<std::uint8_t>& bytes) override {
        bytes.empty() ? m_file.clear() : m_file.write(bytes);
    }

private:
    SecretFile m_file;
};

}  // namespace standalone
