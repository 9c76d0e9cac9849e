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
/// symbolic link, belongs to another user, or is open to others in any way is refused and never
/// repaired, because others may already know its content. A write replaces the whole file at once;
/// when it returns, the bytes are on the disk. Whatever happens, either the old or the new bytes
/// remain.
///
/// On Windows, an access list takes the place of the mode. It admits the user, SYSTEM and
/// Administrators, and inherits nothing. The system also encrypts the bytes for the user on this
/// machine; bytes that it cannot decrypt are refused. If another program has the file open and does
/// not share it, reading, replacing and removing are retried for a second.
///
/// Safe for several threads. Several processes may use one file: the last write wins. All members
/// throw TokenStoreError.
///
/// \ingroup stores
class OIDCAUTH_HOST_API SecretFile {
public:
    /// The largest secret, in bytes. Far above any token; keeps a wrong file from filling the
    /// memory.
    static constexpr std::size_t maxSize = std::size_t{1} << 20U;

    /// Resolves a relative path against the current folder.
    explicit SecretFile(const std::filesystem::path& file);
    ~SecretFile();
    SecretFile(const SecretFile&) = delete;
    SecretFile& operator=(const SecretFile&) = delete;

    /// Removes the file, and temporary files of writers that were killed. On Windows, the removal
    /// may reach the disk a moment later.
    void clear();

    /// The bytes, or none if there is no file.
    ///
    /// With `reread`, the file is read. Without it, the bytes may be those that this object read
    /// last, if identity, size and times of the file show that it is unchanged. That check takes
    /// about a microsecond; on Windows, as long as opening the file. If another process or program
    /// writes, removes or replaces the file, or opens it to others, this is noticed at once; on a
    /// network file system, as soon as that shows the change.
    std::vector<std::uint8_t> read(bool reread);

    /// Replaces the bytes. More than maxSize bytes are refused.
    void write(const std::vector<std::uint8_t>& bytes);

    /// Makes the new file for the next write and reserves disk space for it. Call it before you
    /// request a secret that is given out only once. If no write follows, the destructor removes
    /// that new file.
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

/// Keeps the library's secret of type T in a SecretFile. Writing no bytes removes the file.
///
/// \ingroup stores
template <class T>
class FileTokenStore final : public ISecretStore<T> {
public:
    /// As SecretFile's constructor.
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
