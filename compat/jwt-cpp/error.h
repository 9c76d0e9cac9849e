#pragma once

#include <stdexcept>
#include <string>
#include <system_error>
#include <type_traits>

namespace jwt::error {

enum class token_verification_error {
    wrong_algorithm = 10,
    missing_claim = 11,
    claim_type_missmatch = 12,
    token_expired = 14,
};

enum class signature_verification_error {
    create_context_failed = 11,
    verifyinit_failed = 12,
    verifyupdate_failed = 13,
    verifyfinal_failed = 14,
};

enum class rsa_error {
    cert_load_failed = 10,
    get_key_failed = 11,
    write_key_failed = 12,
    load_key_bio_write = 15,
    load_key_bio_read = 16,
    create_mem_bio_failed = 17,
    no_key_provided = 18,
    set_rsa_failed = 19,
    create_context_failed = 20,
};

}  // namespace jwt::error

template <>
struct std::is_error_code_enum<jwt::error::token_verification_error> : std::true_type {};
template <>
struct std::is_error_code_enum<jwt::error::signature_verification_error> : std::true_type {};
template <>
struct std::is_error_code_enum<jwt::error::rsa_error> : std::true_type {};

namespace jwt::error {

namespace detail {

constexpr const char* text_of(token_verification_error error) {
    switch (error) {
        case token_verification_error::wrong_algorithm:
            return "wrong algorithm";
        case token_verification_error::missing_claim:
            return "decoded JWT is missing required claim(s)";
        case token_verification_error::claim_type_missmatch:
            return "claim type does not match expected type";
        case token_verification_error::token_expired:
            return "token expired";
    }
    return "unknown token verification error";
}

constexpr const char* text_of(signature_verification_error error) {
    switch (error) {
        case signature_verification_error::create_context_failed:
            return "failed to verify signature: could not create context";
        case signature_verification_error::verifyinit_failed:
            return "failed to verify signature: VerifyInit failed";
        case signature_verification_error::verifyupdate_failed:
            return "failed to verify signature: VerifyUpdate failed";
        case signature_verification_error::verifyfinal_failed:
            return "failed to verify signature: VerifyFinal failed";
    }
    return "unknown signature verification error";
}

constexpr const char* text_of(rsa_error error) {
    switch (error) {
        case rsa_error::cert_load_failed:
            return "error loading cert into memory";
        case rsa_error::get_key_failed:
            return "error getting key from certificate";
        case rsa_error::write_key_failed:
            return "error writing key data in PEM format";
        case rsa_error::load_key_bio_write:
            return "failed to load key: bio write failed";
        case rsa_error::load_key_bio_read:
            return "failed to load key: bio read failed";
        case rsa_error::create_mem_bio_failed:
            return "failed to create memory bio";
        case rsa_error::no_key_provided:
            return "at least one of public or private key need to be present";
        case rsa_error::set_rsa_failed:
            return "set modulus and exponent to RSA failed";
        case rsa_error::create_context_failed:
            return "failed to create context";
    }
    return "unknown RSA error";
}

template <typename Error>
class category final : public std::error_category {
public:
    explicit category(const char* name) : m_name(name) {}

    [[nodiscard]] const char* name() const noexcept override { return m_name; }
    [[nodiscard]] std::string message(int value) const override {
        return value == 0 ? "no error" : text_of(static_cast<Error>(value));
    }

private:
    const char* m_name;
};

}  // namespace detail

inline const std::error_category& token_verification_error_category() {
    static const detail::category<token_verification_error> category("token_verification_error");
    return category;
}

inline const std::error_category& signature_verification_error_category() {
    static const detail::category<signature_verification_error> category(
        "signature_verification_error");
    return category;
}

inline const std::error_category& rsa_error_category() {
    static const detail::category<rsa_error> category("rsa_error");
    return category;
}

inline std::error_code make_error_code(token_verification_error error) {
    return {static_cast<int>(error), token_verification_error_category()};
}

inline std::error_code make_error_code(signature_verification_error error) {
    return {static_cast<int>(error), signature_verification_error_category()};
}

inline std::error_code make_error_code(rsa_error error) {
    return {static_cast<int>(error), rsa_error_category()};
}

struct token_verification_exception : std::system_error {
    using system_error::system_error;
};

struct signature_verification_exception : std::system_error {
    using system_error::system_error;
};

struct rsa_exception : std::system_error {
    using system_error::system_error;
};

struct invalid_json_exception : std::runtime_error {
    invalid_json_exception() : runtime_error("invalid json") {}
};

struct claim_not_present_exception : std::out_of_range {
    claim_not_present_exception() : out_of_range("claim not found") {}
};

}  // namespace jwt::error
