#include "auth/detail/FormBody.h"

#include "auth/detail/Text.h"

#include <cpprest/asyncrt_utils.h>

namespace auth::detail {

FormBody& FormBody::add(const utility::char_t* name, const CString& value) {
    m_query.append_query(name, toHttpText(value), true);
    return *this;
}

std::string FormBody::text() const {
    return utility::conversions::to_utf8string(m_query.query());
}

}  // namespace auth::detail
