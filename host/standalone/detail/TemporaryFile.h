#pragma once

#include "host/standalone/detail/PrivateFile.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace standalone::detail {

/// New content before it replaces the record. While its writer lives, it holds the file in a way
/// that removeAbandoned can see; the system releases the file when the writer dies, for whatever
/// reason.
class TemporaryFile {
public:
    /// Creates a file beside `file`, which is in `folder`.
    TemporaryFile(Descriptor folder, std::filesystem::path file);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const Descriptor& folder() const { return m_folder; }

    /// Reserves space on the disk.
    void reserve(std::size_t size);

    /// Writes the whole content. It is on the disk when this returns.
    void write(const std::vector<std::uint8_t>& bytes);

    /// The replacement is on the disk when this returns.
    void replaceRecord();

private:
    Descriptor m_folder;
    std::filesystem::path m_file;
    std::filesystem::path m_name;  // empty once it has replaced the record
    Descriptor m_descriptor;
};

/// Removes files that killed writers left: they hold secrets. Best effort, never waits.
void removeAbandoned(const Descriptor& folder, const std::filesystem::path& file);

using RandomBytes = std::array<unsigned char, 16>;

std::filesystem::path temporaryName(const std::filesystem::path& file, const RandomBytes& random);
bool isTemporaryName(const std::filesystem::path& name, const std::filesystem::path& file);

}  // namespace standalone::detail
