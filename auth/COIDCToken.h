#pragma once

#include "auth/IdTokenClaims.h"
#include "host/CKorvaneArchive.h"
#include "host/CString.h"
#include "platform/Export.h"

#include <chrono>
#include <cstdint>
#include <ratio>
#include <set>

namespace auth {

/// What a provider issued for one client (RFC 6749, OpenID Connect Core): the value that token
/// operations produce and that the host's token store keeps. A value class: every thread works on a
/// copy of its own.
class OIDCAUTH_API COIDCToken {
public:
    /// A moment of the system clock (UTC) in ticks of 100 ns since 1970-01-01.
    using TimePoint =
        std::chrono::time_point<std::chrono::system_clock,
                                std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>>;
    /// Case-sensitive, in ordinal order, without duplicates.
    using ScopeSet = std::set<CString>;

    /// No token: empty texts, no scopes, expired since 1970.
    COIDCToken() = default;
    ~COIDCToken() = default;
    COIDCToken(const COIDCToken&) = default;
    COIDCToken& operator=(const COIDCToken&) = default;
    // A token that was moved from keeps its texts and loses its scopes.
    COIDCToken(COIDCToken&& other) noexcept;
    COIDCToken& operator=(COIDCToken&& other) noexcept;

    const CString& accessToken() const { return m_accessToken; }
    /// Empty when the provider sent none.
    const CString& refreshToken() const { return m_refreshToken; }
    /// A compact JWT; empty when there is none.
    const CString& idToken() const { return m_idToken; }
    const CString& clientId() const { return m_clientId; }
    /// When the access token expires.
    TimePoint expiresAt() const { return m_expiresAt; }

    /// What the ID token says about the user: empty where there is none, or it is no JWT.
    IdTokenClaims idTokenClaims() const { return IdTokenClaims(m_idToken); }

    /// The scopes in ascending order, separated by single spaces.
    CString scopes();
    CString scopes() const;

    /// The same token with another refresh token.
    COIDCToken withRefreshToken(const CString& refreshToken) const;

    /// Whether the token was requested for exactly this client.
    bool validateClientID(const CString& clientId) const;

    /// Whether every scope of the space-separated text is among the token's scopes.
    bool validateScopes(const CString& scopes) const;

    /// Whether the access token is expired, or will be within `minutes`. The instant of expiry
    /// counts as expired. The number is taken as signed: 2^31 and above look back in time.
    bool willBeExpiredAfter(unsigned int minutes) const;

    /// Stores the token into, or loads it from, the section "OIDCToken". Without that section a
    /// load leaves the token as it is; a failing load (CArchiveException, or std::range_error for
    /// text that is not UTF-8) leaves it partly filled.
    void Serialize(CKorvaneArchive& archive);

private:
    friend class COIDCAuthClientCredentials;
    friend class COIDCAuthHybrid;

    COIDCToken(const CString& accessToken, const CString& refreshToken, const CString& idToken,
               const TimePoint& expiresAt, const CString& clientId, const CString& scopes);

    static ScopeSet extractScopes(const CString& scopes);

    void store(CKorvaneArchive& archive) const;
    void load(CKorvaneArchive& archive);

    CString m_accessToken;
    CString m_refreshToken;
    CString m_idToken;
    TimePoint m_expiresAt;
    CString m_clientId;
    ScopeSet m_scopes;
};

}  // namespace auth
