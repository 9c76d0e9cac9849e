#include "host/CString.h"

#include <cpprest/asyncrt_utils.h>

#include <cstdint>
#include <stdexcept>
#include <utility>

namespace {

using XCHAR = CString::XCHAR;

constexpr char32_t replacement = 0xFFFD;

constexpr bool isHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool isLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

bool pairsItsSurrogates(CString::View text) {
    for (auto unit = text.begin(); unit != text.end(); ++unit) {
        if (isLowSurrogate(*unit) ||
            (isHighSurrogate(*unit) && (++unit == text.end() || !isLowSurrogate(*unit)))) {
            return false;
        }
    }
    return true;
}

/// The HTTP library's conversions accept text that is not UTF-8: surrogates, overlong forms, code
/// points beyond the last one. None of these converts back to the same bytes, except low
/// surrogates.
CString::String unitsOfUtf8(std::string_view utf8) {
    using namespace utility::conversions;
    const auto converted = utf8_to_utf16(std::string(utf8));
    CString::String units(converted.begin(), converted.end());
    if (!pairsItsSurrogates(units) || utf16_to_utf8(converted) != utf8) {
        throw std::range_error("UTF-8 string has invalid Unicode code point");
    }
    return units;
}

CString::String unitsOfWide(std::wstring_view text) {
    CString::String units;
    units.reserve(text.size());
    for (const wchar_t character : text) {
        const auto point = static_cast<char32_t>(character);
        if (point <= 0xFFFF) {
            units.push_back(static_cast<XCHAR>(point));
        } else if (point <= 0x10FFFF) {
            units.push_back(static_cast<XCHAR>(0xD800 + ((point - 0x10000) >> 10)));
            units.push_back(static_cast<XCHAR>(0xDC00 + ((point - 0x10000) & 0x3FF)));
        } else {
            units.push_back(static_cast<XCHAR>(replacement));
        }
    }
    return units;
}

std::shared_ptr<const CString::String> shared(CString::String units) {
    return units.empty() ? nullptr : std::make_shared<const CString::String>(std::move(units));
}

}  // namespace

CString::CString(const char* utf8) : CString(std::string_view(utf8 == nullptr ? "" : utf8)) {}

CString::CString(std::string_view utf8) : m_text(shared(unitsOfUtf8(utf8))) {}

CString::CString(const std::string& utf8) : CString(std::string_view(utf8)) {}

CString::CString(const wchar_t* text) : CString(std::wstring_view(text == nullptr ? L"" : text)) {}

CString::CString(std::wstring_view text) : m_text(shared(unitsOfWide(text))) {}

CString::CString(const char16_t* text) {
    const std::u16string_view units(text == nullptr ? u"" : text);
    m_text = shared(String(units.begin(), units.end()));
}

CString::CString(String units) : m_text(shared(std::move(units))) {}

int CString::GetLength() const noexcept {
    return static_cast<int>(view().size());
}

bool CString::IsEmpty() const noexcept {
    return !m_text;
}

void CString::Empty() noexcept {
    m_text.reset();
}

const CString::XCHAR* CString::GetString() const noexcept {
    static constexpr XCHAR none = 0;
    return m_text ? m_text->c_str() : &none;
}

CString::View CString::view() const noexcept {
    return m_text ? View(*m_text) : View();
}

int CString::Compare(const CString& other) const noexcept {
    return view().compare(other.view());
}

CString CString::Tokenize(const char* delimiters, int& start) const {
    if (start < 0) {
        throw std::invalid_argument("the start of a token is negative");
    }
    const String separators = unitsOfUtf8(delimiters);
    const auto begin = view().find_first_not_of(separators, static_cast<std::size_t>(start));
    if (begin == View::npos) {
        start = -1;
        return {};
    }
    const auto end = std::min(view().find_first_of(separators, begin), view().size());
    start = static_cast<int>(end) + 1;
    return CString(String(view().substr(begin, end - begin)));
}

CString& CString::operator+=(const CString& tail) {
    if (IsEmpty()) {
        m_text = tail.m_text;
    } else if (!tail.IsEmpty()) {
        m_text = shared(*m_text + *tail.m_text);
    }
    return *this;
}

bool CString::isWellFormed() const noexcept {
    return pairsItsSurrogates(view());
}

std::string CString::toUtf8() const {
    if (!isWellFormed()) {
        throw std::range_error("UTF-16 string has a surrogate without its partner");
    }
    return utility::conversions::utf16_to_utf8({view().begin(), view().end()});
}

std::wstring CString::toWide() const {
    std::wstring text;
    text.reserve(view().size());
    for (auto unit = view().begin(); unit != view().end(); ++unit) {
        char32_t point = *unit;
        const auto next = std::next(unit);
        if (isHighSurrogate(point) && next != view().end() && isLowSurrogate(*next)) {
            if constexpr (sizeof(wchar_t) == sizeof(XCHAR)) {
                text.push_back(static_cast<wchar_t>(point));
                point = *next;
            } else {
                point = 0x10000 + ((point - 0xD800) << 10) + (char32_t{*next} - 0xDC00);
            }
            unit = next;
        } else if (isHighSurrogate(point) || isLowSurrogate(point)) {
            point = replacement;
        }
        text.push_back(static_cast<wchar_t>(point));
    }
    return text;
}

std::ostream& operator<<(std::ostream& out, const CString& text) {
    return out << CString(std::wstring_view(text.toWide())).toUtf8();
}
