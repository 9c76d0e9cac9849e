#include "auth/COIDCToken.h"

#include "auth/detail/Clock.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace auth {

namespace {

constexpr const char* sectionName = "OIDCToken";
// Earlier versions wrote records without the ID token.
constexpr int lastVersionWithoutIdToken = 457;
// A record can hold any number. This is later than any clock, but far enough from the limits of the
// type that a lead can be added or subtracted.
constexpr COIDCToken::TimePoint::duration farthest{std::numeric_limits<std::int64_t>::max() / 2};

}  // namespace

COIDCToken::COIDCToken(const CString& accessToken, const CString& refreshToken,
                       const CString& idToken, const TimePoint& expiresAt, const CString& clientId,
                       const CString& scopes)
    : m_accessToken(accessToken),
      m_refreshToken(refreshToken),
      m_idToken(idToken),
      m_expiresAt(expiresAt),
      m_clientId(clientId),
      m_scopes(extractScopes(scopes)) {}

// NOLINTBEGIN(performance-move-constructor-init): the source keeps its texts
COIDCToken::COIDCToken(COIDCToken&& other) noexcept
    : m_accessToken(other.m_accessToken),
      m_refreshToken(other.m_refreshToken),
      m_idToken(other.m_idToken),
      m_expiresAt(other.m_expiresAt),
      m_clientId(other.m_clientId),
      m_scopes(std::exchange(other.m_scopes, {})) {}
// NOLINTEND(performance-move-constructor-init)

COIDCToken& COIDCToken::operator=(COIDCToken&& other) noexcept {
    m_accessToken = other.m_accessToken;
    m_refreshToken = other.m_refreshToken;
    m_idToken = other.m_idToken;
    m_expiresAt = other.m_expiresAt;
    m_clientId = other.m_clientId;
    if (this != &other) {
        m_scopes = std::exchange(other.m_scopes, {});
    }
    return *this;
}

COIDCToken::ScopeSet COIDCToken::extractScopes(const CString& scopes) {
    ScopeSet result;
    int position = 0;
    while (position >= 0 && position < scopes.GetLength()) {
        CString scope = scopes.Tokenize(" ", position);
        // Two or more spaces after the last scope give an empty scope, as they always have; a text
        // of spaces only gives no scope at all.
        if (!scope.IsEmpty() || !result.empty()) {
            result.insert(std::move(scope));
        }
    }
    return result;
}

CString COIDCToken::scopes() {
    return std::as_const(*this).scopes();
}

CString COIDCToken::scopes() const {
    CString joined;
    bool first = true;
    for (const CString& scope : m_scopes) {
        if (!first) {
            joined += " ";
        }
        joined += scope;
        first = false;
    }
    return joined;
}

COIDCToken COIDCToken::withRefreshToken(const CString& refreshToken) const {
    COIDCToken changed = *this;
    changed.m_refreshToken = refreshToken;
    return changed;
}

bool COIDCToken::validateClientID(const CString& clientId) const {
    return m_clientId == clientId;
}

bool COIDCToken::validateScopes(const CString& scopes) const {
    const ScopeSet requested = extractScopes(scopes);
    return std::includes(m_scopes.begin(), m_scopes.end(), requested.begin(), requested.end());
}

bool COIDCToken::willBeExpiredAfter(unsigned int minutes) const {
    const std::chrono::duration<std::int64_t, std::ratio<60>> lead{
        static_cast<std::int32_t>(minutes)};
    const TimePoint expiry(std::clamp(m_expiresAt.time_since_epoch(), -farthest, farthest));
    return detail::now() >= expiry - TimePoint::duration(lead);
}

void COIDCToken::Serialize(CKorvaneArchive& archive) {
    if (!archive.startSection(sectionName, true)) {
        return;
    }
    if (archive.archive().IsStoring()) {
        store(archive);
    } else {
        load(archive);
    }
}

void COIDCToken::store(CKorvaneArchive& archive) const {
    archive << m_accessToken << m_refreshToken;
    archive.archive() << m_expiresAt.time_since_epoch().count();
    archive << m_clientId << static_cast<int>(m_scopes.size());
    for (const CString& scope : m_scopes) {
        archive << scope;
    }
    archive << m_idToken;
}

void COIDCToken::load(CKorvaneArchive& archive) {
    CArchive& base = archive.archive();
    base >> m_accessToken >> m_refreshToken;
    std::int64_t ticks = 0;
    base >> ticks;
    m_expiresAt = TimePoint(TimePoint::duration(ticks));
    base >> m_clientId;
    int count = 0;
    archive >> count;
    m_scopes.clear();
    for (int i = 0; i < count; ++i) {
        CString scope;
        base >> scope;
        m_scopes.insert(std::move(scope));
    }
    if (archive.fileVersion() > lastVersionWithoutIdToken) {
        base >> m_idToken;
    }
}

}  // namespace auth
