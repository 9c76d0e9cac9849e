#include "auth/IdTokenClaims.h"

#include "auth/detail/Claims.h"

#include <cpprest/asyncrt_utils.h>

#include <exception>

namespace auth {

using utility::conversions::to_utf8string;

IdTokenClaims::IdTokenClaims(const CString& idToken) noexcept {
    try {
        const auto claims = detail::claimsOf(idToken);
        if (!claims.is_object()) {
            return;
        }
        for (const auto& [name, value] : claims.as_object()) {
            try {
                Value kept{value.is_string(), to_utf8string(value.is_string() ? value.as_string()
                                                                              : value.serialize())};
                // Throws if the text is not UTF-8, which the JSON library does not check.
                const CString checked(kept.text);
                if (!value.is_null()) {
                    m_values.emplace(to_utf8string(name), std::move(kept));
                }
            } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): skip this one
            }
        }
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): no memory, no claims
    }
}

std::optional<std::string> IdTokenClaims::claim(const std::string& name) const {
    const auto found = m_values.find(name);
    return found == m_values.end() ? std::nullopt : std::optional(found->second.text);
}

std::optional<std::string> IdTokenClaims::text(const char* name) const {
    const auto found = m_values.find(name);
    return found == m_values.end() || !found->second.isText ? std::nullopt
                                                            : std::optional(found->second.text);
}

}  // namespace auth
