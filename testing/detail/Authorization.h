#pragma once

#include "testing/RecordedRequest.h"
#include "testing/detail/Text.h"

#include <string>

namespace auth::testing::detail {

/// What an authorization request lacks, in words, "" if nothing: the hybrid flow of an OpenID
/// client that wants its answer by form_post and proves itself by PKCE.
std::string complaintAbout(const Fields& query);

/// A page that posts these fields as soon as it is shown, or by its button without scripts.
std::string postingPage(const std::string& action, const Members& fields);

/// The "c_hash" of an ID token that is signed with SHA-256 (OpenID Connect Core, section 3.3.2.11).
std::string codeHash(const std::string& code);

}  // namespace auth::testing::detail
