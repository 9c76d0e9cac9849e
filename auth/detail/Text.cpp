#include "auth/detail/Text.h"

#include <cpprest/asyncrt_utils.h>

namespace auth::detail {

utility::string_t toHttpText(const CString& text) {
    return utility::conversions::to_string_t(text.toUtf8());
}

CString fromHttpText(const utility::string_t& text) {
    return {utility::conversions::to_utf8string(text)};
}

}  // namespace auth::detail
