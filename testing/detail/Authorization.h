#pragma once

#include "testing/RecordedRequest.h"
#include "testing/detail/Text.h"

#include <string>

namespace auth::testing::detail {

/// Says what an authorization request lacks, or "" if nothing. It must use the hybrid flow of
/// OpenID, form_post and PKCE.
std::string complaintAbout(const Fields& query);

/// A page that posts these fields as soon as it is shown, or with its button if there are no
/// scripts.
std::string postingPage(const std::string& action, const Members& fields);

/// The "c_hash" of an ID token that is signed with SHA-256 (OpenID Connect Core, section 3.3.2.11).
std::string codeHash(const std::string& code);

}  // namespace auth::testing::detail
