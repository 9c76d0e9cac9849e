#pragma once

#include "host/standalone/detail/PrivateFile.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace standalone::detail {

/// The new content before it takes the record's place. Its writer holds it in a way that tells
/// removeAbandoned that it lives; the system lets go of it when the writer dies, however it dies.
class TemporaryFile {
public:
    /// Beside `file`, which lies in `folder`.
    TemporaryFile(Descriptor folder, std::filesystem::path file);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const Descriptor& folder() const { return m_folder; }

    /// Space on the disk.
    void reserve(std::size_t size);

    /// The whole content. It is on the disk when this returns.
    void write(const std::vector<std::uint8_t>& bytes);

    /// Durable when it returns.
    void replaceRecord();

private:
    Descriptor m_folder;
    std::filesystem::path m_file;
    std::filesystem::path m_name;  // empty once it is the record
    Descriptor m_descriptor;
};

/// Removes what killed writers left: it holds secrets. Best effort, and never waits.
void removeAbandoned(const Descriptor& folder, const std::filesystem::path& file);

using RandomBytes = std::array<unsigned char, 16>;

std::filesystem::path temporaryName(const std::filesystem::path& file, const RandomBytes& random);
bool isTemporaryName(const std::filesystem::path& name, const std::filesystem::path& file);

}  // namespace standalone::detail
