#pragma once

#include "host/Export.h"

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

/// A text of UTF-16 code units on every system: the string of the library's interface.
///
/// A value. Copies share one immutable buffer by reference count; a change makes a new buffer.
/// Different threads may use different objects, even if these share a buffer. NUL units inside the
/// text are kept. Comparisons are ordinal, code unit by code unit.
///
/// \ingroup host
class OIDCAUTH_HOST_API CString {
public:
    /// A code unit: `wchar_t` where that is UTF-16 (Windows), else `char16_t`.
    using XCHAR = std::conditional_t<sizeof(wchar_t) == 2, wchar_t, char16_t>;
    /// A string that owns its code units.
    using String = std::basic_string<XCHAR>;
    /// A view of another object's code units.
    using View = std::basic_string_view<XCHAR>;

    /// The empty text.
    CString() noexcept = default;

    /// From UTF-8. A null pointer is the empty text. Throws std::range_error if the bytes are not
    /// UTF-8.
    CString(const char* utf8);
    /// From UTF-8. Throws std::range_error if the bytes are not UTF-8.
    CString(std::string_view utf8);
    /// From UTF-8. Throws std::range_error if the bytes are not UTF-8.
    CString(const std::string& utf8);

    /// From wide text, whatever its width on this system. A null pointer is the empty text.
    CString(const wchar_t* text);
    /// From wide text, whatever its width on this system.
    explicit CString(std::wstring_view text);
    /// From UTF-16, which is not checked. A null pointer is the empty text.
    CString(const char16_t* text);

    /// From code units, which are not checked.
    explicit CString(String units);

    /// The length in code units.
    int GetLength() const noexcept;
    /// Whether the length is 0.
    bool IsEmpty() const noexcept;
    /// Makes this the empty text.
    void Empty() noexcept;

    /// The code units, followed by a NUL. Valid until this object changes.
    const XCHAR* GetString() const noexcept;
    /// The code units. Valid until this object changes.
    View view() const noexcept;

    /// Negative, zero or positive if this text comes before, equals or comes after `other`.
    int Compare(const CString& other) const noexcept;

    /// The next token from position `start`, in code units. Each character of `delimiters`, in
    /// UTF-8, is a delimiter. Skips those at `start`, takes everything up to the next one, and
    /// moves `start` past that.
    ///
    /// At the end of the text the token is empty and `start` becomes -1. Throws
    /// std::invalid_argument if `start` is negative.
    CString Tokenize(const char* delimiters, int& start) const;

    /// Appends.
    CString& operator+=(const CString& tail);

    /// Whether each surrogate has its partner.
    bool isWellFormed() const noexcept;
    /// This text in UTF-8. Throws std::range_error if it is not well formed.
    std::string toUtf8() const;
    /// This text for messages: a surrogate without its partner becomes U+FFFD.
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

/// Writes the text in UTF-8, as toWide() gives it.
///
/// \ingroup host
OIDCAUTH_HOST_API std::ostream& operator<<(std::ostream& out, const CString& text);
