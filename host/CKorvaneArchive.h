#pragma once

#include "host/CArchive.h"

#include <utility>

/// An archive of named sections, with a file version.
///
/// It contains the plain archive that holds the values. A section is its name followed by its
/// values, with no mark at its end. Operations throw what those of CArchive throw. One thread at a
/// time may use it.
///
/// \ingroup host
class OIDCAUTH_HOST_API CKorvaneArchive {
public:
    virtual ~CKorvaneArchive();

    /// Begins a section.
    ///
    /// When storing, writes the name and returns true. When loading, returns true if the section of
    /// that name begins here, and moves past the name. If another one begins here, the position
    /// stays: the result is false if `optional` is set, else the cause badSchema is thrown. If no
    /// complete name is left, the cause endOfFile is thrown.
    virtual bool startSection(const char* name, bool optional);

    /// The version of the application's file format in which the archive is written.
    virtual int fileVersion() const = 0;

    /// The plain archive; it belongs to this object.
    CArchive& archive() noexcept { return m_archive; }

    /// Stores a 32-bit number.
    CKorvaneArchive& operator<<(int value);
    /// Loads a 32-bit number.
    CKorvaneArchive& operator>>(int& value);
    /// Stores a text.
    CKorvaneArchive& operator<<(const CString& text);

protected:
    /// An empty archive that stores.
    CKorvaneArchive() = default;
    CKorvaneArchive(const CKorvaneArchive&) = default;
    CKorvaneArchive& operator=(const CKorvaneArchive&) = default;
    CKorvaneArchive(CKorvaneArchive&&) = default;
    CKorvaneArchive& operator=(CKorvaneArchive&&) = default;

    /// Replaces the plain archive, for derived classes that load.
    void replaceArchive(CArchive archive) { m_archive = std::move(archive); }

private:
    CArchive m_archive;
};
