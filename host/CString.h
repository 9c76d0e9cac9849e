#pragma once

#include "host/Export.h"

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

/// Text of UTF-16 code units on every system: the string of the library's boundary.
///
/// A value: copies share one immutable buffer by reference count, a change makes a buffer of its
/// own. Distinct objects may be used from different threads even where they share a buffer.
/// Embedded NUL units are kept. All comparisons are ordinal, code unit by code unit.
class OIDCAUTH_HOST_API CString {
public:
    /// `wchar_t` where that is UTF-16 already (Windows), `char16_t` elsewhere.
    using XCHAR = std::conditional_t<sizeof(wchar_t) == 2, wchar_t, char16_t>;
    using String = std::basic_string<XCHAR>;
    using View = std::basic_string_view<XCHAR>;

    CString() noexcept = default;

    /// From UTF-8. Throws std::range_error on bytes that are not UTF-8. A null pointer is "".
    CString(const char* utf8);
    CString(std::string_view utf8);
    CString(const std::string& utf8);

    /// From wide literals, whatever their width is on this system. A null pointer is "".
    CString(const wchar_t* text);
    explicit CString(std::wstring_view text);
    CString(const char16_t* text);

    /// From code units as they stand; they are not checked.
    explicit CString(String units);

    int GetLength() const noexcept;
    bool IsEmpty() const noexcept;
    void Empty() noexcept;

    /// NUL-terminated; valid until this object changes.
    const XCHAR* GetString() const noexcept;
    View view() const noexcept;

    /// Negative, zero or positive as this text stands before, equals or stands behind `other`.
    int Compare(const CString& other) const noexcept;

    /// The next token from position `start`: skips any of `delimiters`, then takes all up to the
    /// next delimiter and moves `start` behind that. At the end of the text the token is empty and
    /// `start` becomes -1. Throws std::invalid_argument when `start` is negative.
    CString Tokenize(const char* delimiters, int& start) const;

    CString& operator+=(const CString& tail);

    /// Whether each surrogate has its partner.
    bool isWellFormed() const noexcept;
    /// Throws std::range_error on text that is not well formed.
    std::string toUtf8() const;
    /// For messages: a surrogate without its partner becomes U+FFFD.
    std::wstring toWide() const;

    friend bool operator==(const CString& a, const CString& b) noexcept {
        return a.view() == b.view();
    }
    friend bool operator!=(const CString& a, const CString& b) noexcept { return !(a == b); }
    friend bool operator<(const CString& a, const CString& b) noexcept { return a.Compare(b) < 0; }
    friend CString operator+(CString head, const CString& tail) { return head += tail; }

private:
    std::shared_ptr<const String> m_text;  // null stands for the empty text
};

/// Writes UTF-8, so that test failures can be read.
OIDCAUTH_HOST_API std::ostream& operator<<(std::ostream& out, const CString& text);
