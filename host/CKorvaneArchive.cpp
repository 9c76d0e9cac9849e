#include "host/CKorvaneArchive.h"

CKorvaneArchive::~CKorvaneArchive() = default;

bool CKorvaneArchive::startSection(const char* name, bool optional) {
    if (m_archive.IsStoring()) {
        m_archive.writeNarrow(name);
        return true;
    }
    const std::size_t before = m_archive.position();
    CString found;
    m_archive >> found;
    if (found == CString(name)) {
        return true;
    }
    m_archive.seek(before);
    if (!optional) {
        throw CArchiveException(CArchiveException::badSchema);
    }
    return false;
}

CKorvaneArchive& CKorvaneArchive::operator<<(int value) {
    m_archive << std::int32_t{value};
    return *this;
}

CKorvaneArchive& CKorvaneArchive::operator>>(int& value) {
    m_archive >> value;
    return *this;
}

CKorvaneArchive& CKorvaneArchive::operator<<(const CString& text) {
    m_archive << text;
    return *this;
}
