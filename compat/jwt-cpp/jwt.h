#pragma once

// The part of jwt-cpp that this project uses, for machines without that library: the same names,
// order of steps, exceptions and texts, over OpenSSL 3 and picojson. The build prefers an installed
// jwt-cpp and otherwise uses this header. Callers see no difference except in two cases that a
// hostile token could use to end the process, and that are safe here: JSON objects nest no deeper
// than arrays do, and dates beyond the clock's range become its first or last instant.
//
// Errors: jwt::error below, std::bad_cast for a claim of another type, std::logic_error for a null
// where a type is needed, std::runtime_error for text that is not base64url, std::invalid_argument
// for text that does not have three parts, std::overflow_error for a number that does not fit into
// a double.
// Threads: constant objects may be used by several threads at once. OpenSSL's error queue is left
// unchanged.

#include "jwt-cpp/base64url.h"
#include "jwt-cpp/error.h"
#include "jwt-cpp/rs256.h"
#include "jwt-cpp/token.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

namespace jwt {

/// Checks a token's algorithm and signature, then its times. `Clock` returns the date by `now()`.
template <typename Clock, typename Traits>
class verifier {
public:
    explicit verifier(Clock clock) : m_clock(std::move(clock)) {}

    /// The tolerance for the issuer's clock, in seconds, for every time without its own leeway.
    verifier& leeway(std::size_t seconds) {
        m_leeway = clamped(seconds);
        return *this;
    }

    /// Also requires a time of issue in whole seconds.
    verifier& issued_at_leeway(std::size_t seconds) {
        m_issued_at_leeway = clamped(seconds);
        return *this;
    }

    /// Replaces an algorithm of the same name.
    template <typename Algorithm>
    verifier& allow_algorithm(Algorithm algorithm) {
        const std::string name = algorithm.name();
        m_algorithms[name] = [algorithm = std::move(algorithm)](
                                 const std::string& data, const std::string& signature,
                                 std::error_code& ec) { algorithm.verify(data, signature, ec); };
        return *this;
    }

    void verify(const decoded_jwt<Traits>& jwt) const {
        std::error_code ec;
        verify(jwt, ec);
        if (ec.category() == error::token_verification_error_category()) {
            throw error::token_verification_exception(ec);
        }
        if (ec.category() == error::signature_verification_error_category()) {
            throw error::signature_verification_exception(ec);
        }
        if (ec) {
            throw std::system_error(ec);  // from an algorithm that is not in this header
        }
    }

    /// Reports a failed check in `ec`; for a claim of the wrong type it still throws.
    void verify(const decoded_jwt<Traits>& jwt, std::error_code& ec) const {
        ec.clear();
        const auto allowed = m_algorithms.find(jwt.get_algorithm());
        if (allowed == m_algorithms.end()) {
            ec = error::token_verification_error::wrong_algorithm;
            return;
        }
        allowed->second(jwt.get_header_base64() + '.' + jwt.get_payload_base64(),
                        jwt.get_signature(), ec);
        if (!ec) {
            ec = check_times(jwt);
        }
    }

private:
    using verify_signature =
        std::function<void(const std::string&, const std::string&, std::error_code&)>;

    static std::chrono::seconds clamped(std::size_t seconds) {
        using rep = std::chrono::seconds::rep;
        constexpr auto longest = static_cast<std::size_t>(std::numeric_limits<rep>::max());
        return std::chrono::seconds(static_cast<rep>(std::min(seconds, longest)));
    }

    static std::error_code error_unless(bool in_time) {
        return in_time ? std::error_code() : error::token_verification_error::token_expired;
    }

    /// The order decides which of several faults of a token is reported.
    std::error_code check_times(const decoded_jwt<Traits>& jwt) const {
        const date now = m_clock.now();
        std::error_code ec = error_unless(!jwt.has_not_before() ||
                                          now >= detail::shifted(jwt.get_not_before(), -m_leeway));
        if (!ec) {
            ec = check_issued_at(jwt, now);
        }
        if (!ec) {
            ec = error_unless(!jwt.has_expires_at() ||
                              now <= detail::shifted(jwt.get_expires_at(), m_leeway));
        }
        return ec;
    }

    std::error_code check_issued_at(const decoded_jwt<Traits>& jwt, date now) const {
        using error::token_verification_error;
        if (!jwt.has_issued_at()) {
            return m_issued_at_leeway ? make_error_code(token_verification_error::missing_claim)
                                      : std::error_code();
        }
        if (m_issued_at_leeway && jwt.get_payload_claim("iat").get_type() != json::type::integer) {
            return token_verification_error::claim_type_missmatch;
        }
        return error_unless(
            now >= detail::shifted(jwt.get_issued_at(), -m_issued_at_leeway.value_or(m_leeway)));
    }

    Clock m_clock;
    std::chrono::seconds m_leeway{0};
    std::optional<std::chrono::seconds> m_issued_at_leeway;
    std::map<std::string, verify_signature> m_algorithms;
};

template <typename Clock, typename Traits>
verifier<Clock, Traits> verify(Clock clock) {
    return verifier<Clock, Traits>(std::move(clock));
}

inline verifier<default_clock, traits::kazuho_picojson> verify() {
    return verify<default_clock, traits::kazuho_picojson>(default_clock());
}

}  // namespace jwt
