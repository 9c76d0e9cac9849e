#pragma once

#include "host/CArchive.h"

#include <utility>

/// An archive of named sections and a file version. It contains the plain archive that holds the
/// values; a section is its name followed by its values, with no mark at its end.
class OIDCAUTH_HOST_API CKorvaneArchive {
public:
    virtual ~CKorvaneArchive();

    /// Storing: begins a section of that name and returns true. Loading: returns true behind the
    /// name when a section of that name stands here; otherwise the position stays, and the result
    /// is false when `optional` is set, while an archive without the section raises badSchema when
    /// it is not. Where no whole name is left it raises endOfFile.
    virtual bool startSection(const char* name, bool optional);

    /// The version of the program's file format with which the archive was written.
    virtual int fileVersion() const = 0;

    CArchive& archive() noexcept { return m_archive; }

    CKorvaneArchive& operator<<(int value);
    CKorvaneArchive& operator>>(int& value);
    CKorvaneArchive& operator<<(const CString& text);

protected:
    CKorvaneArchive() = default;
    CKorvaneArchive(const CKorvaneArchive&) = default;
    CKorvaneArchive& operator=(const CKorvaneArchive&) = default;
    CKorvaneArchive(CKorvaneArchive&&) = default;
    CKorvaneArchive& operator=(CKorvaneArchive&&) = default;

    void replaceArchive(CArchive archive) { m_archive = std::move(archive); }

private:
    CArchive m_archive;
};
