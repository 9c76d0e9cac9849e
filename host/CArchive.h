#pragma once

#include "host/CString.h"
#include "host/Export.h"

#include <cstdint>
#include <exception>
#include <vector>

/// An archive operation failed.
///
/// \ingroup host
class OIDCAUTH_HOST_API CArchiveException : public std::exception {
public:
    /// Why it failed. The numbers are fixed.
    enum Cause : int {
        none = 0,              ///< never thrown by this library
        genericException = 1,  ///< compression failed
        readOnly = 2,          ///< an archive that is loading was stored into
        endOfFile = 3,         ///< there is less data than was asked for
        writeOnly = 4,         ///< an archive that is storing was loaded from
        badIndex = 5,          ///< never thrown by this library
        badClass = 6,          ///< never thrown by this library
        badSchema = 7,         ///< not an archive of this library, damaged, or of unknown form
    };

    /// A failure for this cause.
    explicit CArchiveException(Cause cause) noexcept : m_cause(cause) {}
    /// A short English text.
    const char* what() const noexcept override;

    Cause m_cause;  ///< why it failed
};

/// Stores values into bytes or loads them from bytes. One thread at a time may use it.
///
/// Integers are little-endian. Text is its length in code units, followed by these units:
/// - a length below 255 is one byte;
/// - a length below 0xFFFE is 0xFF and 16 bits;
/// - any other length is 0xFF, 0xFFFF and 32 bits;
/// - 0xFF, 0xFFFE before the length marks wide text (UTF-16). Narrow text is UTF-8.
///
/// Storing writes wide text, except for writeNarrow().
///
/// Operations throw CArchiveException: in the wrong mode, and for data that is missing or damaged.
/// Loading narrow text that is not UTF-8 throws std::range_error.
///
/// \ingroup host
class OIDCAUTH_HOST_API CArchive {
public:
    /// An archive either loads or stores.
    enum class Mode : std::uint8_t { load, store };

    /// An empty archive that stores.
    CArchive() = default;
    /// An archive that loads from these bytes.
    explicit CArchive(std::vector<std::uint8_t> bytes);

    /// Whether this archive stores.
    bool IsStoring() const noexcept { return m_mode == Mode::store; }
    /// Whether this archive loads.
    bool IsLoading() const noexcept { return m_mode == Mode::load; }

    /// Stores a 32-bit number.
    CArchive& operator<<(std::int32_t value);
    /// Stores a 64-bit number.
    CArchive& operator<<(std::int64_t value);
    /// Stores a text, wide.
    CArchive& operator<<(const CString& text);
    /// Loads a 32-bit number.
    CArchive& operator>>(std::int32_t& value);
    /// Loads a 64-bit number.
    CArchive& operator>>(std::int64_t& value);
    /// Loads a text, wide or narrow.
    CArchive& operator>>(CString& text);

    /// Stores narrow text. The names of sections are narrow.
    void writeNarrow(std::string_view text);

    /// Where the next value is loaded from, in bytes.
    std::size_t position() const noexcept { return m_position; }
    /// Sets position(). Loading beyond the end throws.
    void seek(std::size_t position) noexcept { m_position = position; }

    /// All bytes to load from, or all that were stored. Valid until this object changes.
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
