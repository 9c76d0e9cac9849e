#include "host/standalone/FileTokenStore.h"

#include "host/standalone/detail/PrivateFile.h"
#include "host/standalone/detail/Sealing.h"
#include "host/standalone/detail/TemporaryFile.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <utility>

namespace fs = std::filesystem;

namespace standalone {

using namespace detail;

namespace {

using Bytes = std::vector<std::uint8_t>;

PrivateFile openRecord(const Descriptor& folder, const fs::path& file) {
    auto record = openFile(folder, file, Opening::present);
    if (record.state.size > SecretFile::maxSize + sealingRoom) {
        refuse(file, "is too large for a token; remove it or use another path");
    }
    return record;
}

Bytes readAll(const PrivateFile& record, const fs::path& file) {
    Bytes bytes(static_cast<std::size_t>(record.state.size));
    std::size_t done = 0;
    while (done < bytes.size()) {
        const auto count =
            readSome(record.descriptor, file, bytes.data() + done, bytes.size() - done);
        if (count == 0) {
            refuse(file, "was truncated while it was being read; sign in again");
        }
        done += count;
    }
    return unseal(file, std::move(bytes));
}

}  // namespace

/// The bytes that were read, with the file and its state at that time.
struct SecretFile::Remembered {
    Bytes bytes;
    std::optional<FileState> state;  // none if there was no file

    /// Whether the file is still the same. If anything has changed, it must be read again.
    bool isOf(const fs::path& file) const {
        std::optional<FileState> now;
        return look(file, now) && now == state;
    }

    /// Whether any write from `begin` on is sure to change the state. File times move in steps, and
    /// the number of a replaced file may be reused two replacements later: if a file has just
    /// changed, the next change may not be visible.
    bool tellsChangesAfter(std::chrono::system_clock::time_point begin) const {
        using namespace std::chrono;
        if (!state) {
            return true;
        }
        // The system's steps are at most 16 ms; a file system without fractions has steps of 2 s.
        const bool hasFractions = state->changed % seconds(1) != nanoseconds(0);
        const milliseconds step = hasFractions ? milliseconds(20) : milliseconds(2000);
        return begin.time_since_epoch() - state->changed > step;
    }
};

SecretFile::SecretFile(const fs::path& file)
    : m_file(absoluteFile(file)), m_folder(m_file.parent_path()) {}

SecretFile::~SecretFile() = default;

void SecretFile::clear() {
    const std::lock_guard lock(m_mutex);
    m_remembered.reset();
    if (const auto folder = openFolder(m_folder)) {
        removeAbandoned(folder, m_file);
        removeFile(folder, m_file);
    }
}

Bytes SecretFile::read(bool reread) {
    const std::lock_guard lock(m_mutex);
    if (!reread && m_remembered && m_remembered->isOf(m_file)) {
        return m_remembered->bytes;
    }
    m_remembered.reset();  // a failed read means that the remembered record is out of date
    const auto begin = std::chrono::system_clock::now();
    Remembered latest;
    if (const auto folder = openFolder(m_folder)) {
        if (const auto record = openRecord(folder, m_file); record.descriptor) {
            latest.bytes = readAll(record, m_file);
            latest.state = record.state;
        }
    }
    Bytes bytes = latest.bytes;
    if (latest.tellsChangesAfter(begin)) {
        m_remembered = std::make_unique<const Remembered>(std::move(latest));
    }
    return bytes;
}

void SecretFile::write(const Bytes& bytes) {
    const std::lock_guard lock(m_mutex);
    m_remembered.reset();
    if (bytes.size() > maxSize) {
        refuse(m_file, "is not written: the secret is too large for a token");
    }
    const auto temporary = m_prepared ? std::move(m_prepared) : makeTemporary();
    openRecord(temporary->folder(), m_file);  // a file that must not be read is not replaced either
    temporary->write(seal(m_file, bytes));
    temporary->replaceRecord();
}

void SecretFile::prepareWrite() {
    // A new record is about as large as the old one; the first one has a few kilobytes.
    constexpr std::uint64_t smallest = std::uint64_t{64} * 1024;
    const std::lock_guard lock(m_mutex);
    m_prepared.reset();
    auto temporary = makeTemporary();
    const auto present = openRecord(temporary->folder(), m_file).state.size;
    temporary->reserve(static_cast<std::size_t>(std::max(smallest, 2 * present)));
    m_prepared = std::move(temporary);
}

std::unique_ptr<TemporaryFile> SecretFile::makeTemporary() const {
    auto folder = openOrMakeFolder(m_folder);
    removeAbandoned(folder, m_file);
    return std::make_unique<TemporaryFile>(std::move(folder), m_file);
}

}  // namespace standalone
