#include "auth/detail/FormBody.h"

#include "auth/detail/Text.h"

#include <cpprest/asyncrt_utils.h>

namespace auth::detail {

FormBody& FormBody::add(const utility::char_t* name, const CString& value) {
    return add(name, toHttpText(value));
}

FormBody& FormBody::add(const utility::char_t* name, const utility::string_t& value) {
    m_query.append_query(name, value, true);
    return *this;
}

FormBody& FormBody::addAllEncoded(const utility::char_t* name, const CString& value) {
    m_query.append_query(name, web::uri::encode_data_string(toHttpText(value)), false);
    return *this;
}

std::string FormBody::text() const {
    return utility::conversions::to_utf8string(m_query.query());
}

}  // namespace auth::detail
