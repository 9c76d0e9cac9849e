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

/// The tokens that a provider issued for one client (RFC 6749, section 5.1; OpenID Connect Core
/// 1.0, section 3.3): the result of token operations, and the content of a token store.
///
/// A value: each thread works on a copy of its own.
///
/// \ingroup token
class OIDCAUTH_API COIDCToken {
public:
    /// A time of the system clock (UTC), in ticks of 100 ns since 1970-01-01.
    using TimePoint =
        std::chrono::time_point<std::chrono::system_clock,
                                std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>>;
    /// Scopes in ordinal order, without duplicates. Their case counts.
    using ScopeSet = std::set<CString>;

    /// No token: all texts are empty, there are no scopes, and it expired in 1970.
    COIDCToken() = default;
    ~COIDCToken() = default;
    COIDCToken(const COIDCToken&) = default;
    COIDCToken& operator=(const COIDCToken&) = default;
    /// `other` keeps its texts but loses its scopes.
    COIDCToken(COIDCToken&& other) noexcept;
    /// `other` keeps its texts but loses its scopes.
    COIDCToken& operator=(COIDCToken&& other) noexcept;

    /// The token for the API (RFC 6749, section 1.4).
    const CString& accessToken() const { return m_accessToken; }
    /// Empty if the provider sent none.
    const CString& refreshToken() const { return m_refreshToken; }
    /// A JWT in compact form; empty if there is none.
    const CString& idToken() const { return m_idToken; }
    /// The client for which the token was requested.
    const CString& clientId() const { return m_clientId; }
    /// When the access token expires.
    TimePoint expiresAt() const { return m_expiresAt; }

    /// The claims of the ID token; none if there is no ID token, or it is not a JWT.
    IdTokenClaims idTokenClaims() const { return IdTokenClaims(m_idToken); }

    /// The requested scopes in ascending order, separated by single spaces.
    CString scopes();
    /// The requested scopes in ascending order, separated by single spaces.
    CString scopes() const;

    /// A copy of this token with another refresh token.
    COIDCToken withRefreshToken(const CString& refreshToken) const;

    /// Whether the token was requested for exactly this client.
    bool validateClientID(const CString& clientId) const;

    /// Whether the token has every scope of the text, in which spaces separate them. True for an
    /// empty text.
    bool validateScopes(const CString& scopes) const;

    /// Whether the access token has expired, or will expire within `minutes`. At the instant of its
    /// expiry it counts as expired. The number is taken as signed: 2^31 and above are negative, and
    /// ask whether the token had expired that long ago.
    bool willBeExpiredAfter(unsigned int minutes) const;

    /// Stores the token into the section "OIDCToken" of the archive, or loads it from there.
    ///
    /// If another section begins there, loading leaves the token as it is. If loading fails, the
    /// token is left partly filled. Throws CArchiveException, for example if nothing is left to
    /// load, and std::range_error for a text that is not UTF-8.
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
