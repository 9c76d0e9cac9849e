#pragma once

#include <filesystem>
#include <string>

namespace auth::testing {

// What the browser of a user does who signs in, for tests in one process; made for the pages of
// TestProvider. It keeps no cookies, follows no redirect and runs no script. All functions block
// for at most 30 seconds and throw std::runtime_error when no answer comes; any thread may call
// them.
//
// A test gives the program under test a browser that hands the URL to signIn() on another thread:
// the program waits for what is posted.

/// The form that the provider's page posts by itself, with the authorization answer.
struct FormPost {
    std::string action;  ///< the redirect URL
    std::string body;    ///< the fields, encoded as browsers do
};

struct PageAnswer {
    unsigned status = 0;
    std::string contentType;
    std::string body;
};

/// Gets the page of an authorization URL, http or https; for https `authorityFile` names the PEM
/// file with the authority to trust, as TestProvider::authorityFile() does. Throws
/// std::runtime_error with status and text of an answer that holds no form.
FormPost openPage(const std::string& authorizationUrl,
                  const std::filesystem::path& authorityFile = {});

/// Posts the form to the redirect URL, which has to be http, and gives what the program that
/// listens there answered.
PageAnswer submit(const FormPost& form);

/// Both, one after the other.
PageAnswer signIn(const std::string& authorizationUrl,
                  const std::filesystem::path& authorityFile = {});

}  // namespace auth::testing
