#pragma once

#include "host/CString.h"
#include "host/Export.h"

#include <cstdint>
#include <exception>
#include <vector>

/// Why an archive operation failed; the numbers are fixed.
class OIDCAUTH_HOST_API CArchiveException : public std::exception {
public:
    enum Cause : int {
        none = 0,
        genericException = 1,
        readOnly = 2,   ///< stored into an archive that is loading
        endOfFile = 3,  ///< less data than was asked for
        writeOnly = 4,  ///< loaded from an archive that is storing
        badIndex = 5,
        badClass = 6,
        badSchema = 7,  ///< not an archive of ours, damaged, or of an unknown form
    };

    explicit CArchiveException(Cause cause) noexcept : m_cause(cause) {}
    const char* what() const noexcept override;

    Cause m_cause;
};

/// Stores values into bytes or loads them from bytes. Integers are little-endian.
///
/// Text is a length prefix and the characters. Lengths below 255 take one byte; 0xFF and 16 bits
/// announce lengths below 0xFFFE, 0xFF 0xFFFF and 32 bits all others; 0xFF 0xFFFE before the
/// length announces wide (UTF-16) text. Narrow text is UTF-8. Storing always writes wide text.
class OIDCAUTH_HOST_API CArchive {
public:
    enum class Mode : std::uint8_t { load, store };

    /// For storing, with no bytes yet.
    CArchive() = default;
    /// For loading.
    explicit CArchive(std::vector<std::uint8_t> bytes);

    bool IsStoring() const noexcept { return m_mode == Mode::store; }
    bool IsLoading() const noexcept { return m_mode == Mode::load; }

    CArchive& operator<<(std::int32_t value);
    CArchive& operator<<(std::int64_t value);
    CArchive& operator<<(const CString& text);
    CArchive& operator>>(std::int32_t& value);
    CArchive& operator>>(std::int64_t& value);
    CArchive& operator>>(CString& text);

    /// Narrow text, for names within the archive.
    void writeNarrow(std::string_view text);

    std::size_t position() const noexcept { return m_position; }
    void seek(std::size_t position) noexcept { m_position = position; }

    const std::vector<std::uint8_t>& bytes() const noexcept { return m_bytes; }

private:
    struct TextLength {
        std::size_t units;
        bool wide;
    };

    template <class Unsigned>
    void put(Unsigned value);
    template <class Unsigned>
    Unsigned take();
    void putLength(std::size_t length);
    TextLength takeLength();
    const std::uint8_t* takeBytes(std::size_t count);

    Mode m_mode = Mode::store;
    std::vector<std::uint8_t> m_bytes;
    std::size_t m_position = 0;
};
