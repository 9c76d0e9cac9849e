#pragma once

#include "host/CString.h"

#include <cpprest/uri_builder.h>

#include <string>

namespace auth::detail {

/// The fields of an application/x-www-form-urlencoded body (RFC 6749, appendix B), in the order in
/// which they are added.
class FormBody {
public:
    /// Percent-encodes the value's UTF-8 form as a query component.
    FormBody& add(const utility::char_t* name, const CString& value);
    FormBody& add(const utility::char_t* name, const utility::string_t& value);
    /// Percent-encodes everything but unreserved characters (RFC 3986, section 2.3).
    FormBody& addAllEncoded(const utility::char_t* name, const CString& value);

    /// UTF-8; the fields joined with "&".
    std::string text() const;

private:
    web::uri_builder m_query;
};

}  // namespace auth::detail
