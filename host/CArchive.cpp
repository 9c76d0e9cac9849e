#include "host/CArchive.h"

#include <limits>
#include <utility>

namespace {

constexpr std::uint8_t longMark = 0xFF;
constexpr std::uint16_t wideMark = 0xFFFE;
constexpr std::uint16_t longerMark = 0xFFFF;

}  // namespace

const char* CArchiveException::what() const noexcept {
    switch (m_cause) {
        case readOnly:
            return "archive is read-only";
        case endOfFile:
            return "archive ends too early";
        case writeOnly:
            return "archive is write-only";
        case badSchema:
            return "archive is damaged or of an unknown form";
        default:
            return "archive error";
    }
}

CArchive::CArchive(std::vector<std::uint8_t> bytes)
    : m_mode(Mode::load), m_bytes(std::move(bytes)) {}

template <class Unsigned>
void CArchive::put(Unsigned value) {
    if (!IsStoring()) {
        throw CArchiveException(CArchiveException::readOnly);
    }
    for (std::size_t shift = 0; shift < sizeof(Unsigned) * 8; shift += 8) {
        m_bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

const std::uint8_t* CArchive::takeBytes(std::size_t count) {
    if (!IsLoading()) {
        throw CArchiveException(CArchiveException::writeOnly);
    }
    // Checked before anything is allocated: a damaged length can claim more bytes than there are.
    if (m_position > m_bytes.size() || count > m_bytes.size() - m_position) {
        throw CArchiveException(CArchiveException::endOfFile);
    }
    const std::uint8_t* const bytes = m_bytes.data() + m_position;
    m_position += count;
    return bytes;
}

template <class Unsigned>
Unsigned CArchive::take() {
    const std::uint8_t* const bytes = takeBytes(sizeof(Unsigned));
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < sizeof(Unsigned); ++i) {
        value |= std::uint64_t{bytes[i]} << (i * 8);
    }
    return static_cast<Unsigned>(value);
}

void CArchive::putLength(std::size_t length) {
    if (length < longMark) {
        put(static_cast<std::uint8_t>(length));
        return;
    }
    put(longMark);
    if (length < wideMark) {
        put(static_cast<std::uint16_t>(length));
        return;
    }
    if (length > std::numeric_limits<std::uint32_t>::max()) {
        throw CArchiveException(CArchiveException::badSchema);
    }
    put(longerMark);
    put(static_cast<std::uint32_t>(length));
}

CArchive::TextLength CArchive::takeLength() {
    bool wide = false;
    for (;;) {
        const auto brief = take<std::uint8_t>();
        if (brief != longMark) {
            return {brief, wide};
        }
        const auto medium = take<std::uint16_t>();
        if (medium == longerMark) {
            return {take<std::uint32_t>(), wide};
        }
        if (medium != wideMark) {
            return {medium, wide};
        }
        if (wide) {
            throw CArchiveException(CArchiveException::badSchema);
        }
        wide = true;
    }
}

CArchive& CArchive::operator<<(std::int32_t value) {
    put(static_cast<std::uint32_t>(value));
    return *this;
}

CArchive& CArchive::operator<<(std::int64_t value) {
    put(static_cast<std::uint64_t>(value));
    return *this;
}

CArchive& CArchive::operator<<(const CString& text) {
    put(longMark);
    put(wideMark);
    putLength(text.view().size());
    for (const CString::XCHAR unit : text.view()) {
        put(static_cast<std::uint16_t>(unit));
    }
    return *this;
}

void CArchive::writeNarrow(std::string_view text) {
    putLength(text.size());
    for (const char character : text) {
        put(static_cast<std::uint8_t>(character));
    }
}

CArchive& CArchive::operator>>(std::int32_t& value) {
    value = static_cast<std::int32_t>(take<std::uint32_t>());
    return *this;
}

CArchive& CArchive::operator>>(std::int64_t& value) {
    value = static_cast<std::int64_t>(take<std::uint64_t>());
    return *this;
}

CArchive& CArchive::operator>>(CString& text) {
    const TextLength length = takeLength();
    if (!length.wide) {
        const auto* const bytes = takeBytes(length.units);
        text = CString(std::string(bytes, bytes + length.units));
        return *this;
    }
    const auto* const bytes = takeBytes(length.units * sizeof(std::uint16_t));
    CString::String units(length.units, CString::XCHAR{});
    for (std::size_t i = 0; i < length.units; ++i) {
        units[i] = static_cast<CString::XCHAR>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
    }
    CString loaded(std::move(units));
    if (!loaded.isWellFormed()) {
        throw CArchiveException(CArchiveException::badSchema);
    }
    text = std::move(loaded);
    return *this;
}
