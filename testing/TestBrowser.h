#pragma once

#include <filesystem>
#include <string>

namespace auth::testing {

// Plays the browser of a user who signs in, in the process of the test, on the pages of
// TestProvider. It keeps no cookies, follows no redirects and runs no scripts. Each exchange blocks
// for at most 30 s; without an answer it throws std::runtime_error. Any thread may call these
// functions.
//
// A test sets a BrowserOpener that passes the URL to signIn() on another thread and returns: the
// program under test waits for the form.

/// The form that the provider's page submits automatically: the authorization response (OAuth 2.0
/// Form Post Response Mode).
///
/// \ingroup testing
struct FormPost {
    std::string action;  ///< the redirect URL
    std::string body;    ///< the fields, encoded as browsers encode them
};

/// The answer of the program that listens on the redirect URL: the page that the user sees last.
///
/// \ingroup testing
struct PageAnswer {
    unsigned status = 0;      ///< HTTP status
    std::string contentType;  ///< "" if there is none
    std::string body;         ///< without the transfer coding
};

/// Gets the page of an authorization URL, http or https, and returns its form. Keeps no cookies,
/// follows no redirects and runs no scripts.
///
/// For https, `authorityFile` is the PEM file with the authority to trust:
/// TestProvider::authorityFile(). Blocks for at most 30 s. Throws std::runtime_error if no answer
/// comes, or if the answer contains no form; the text is then the status and body of the answer.
///
/// \ingroup testing
FormPost openPage(const std::string& authorizationUrl,
                  const std::filesystem::path& authorityFile = {});

/// Posts the form to the redirect URL, which must be http, and returns the answer of the program
/// that listens there. Blocks for at most 30 s. Throws std::runtime_error if no answer comes.
///
/// \ingroup testing
PageAnswer submit(const FormPost& form);

/// openPage() followed by submit(): a user signs in. Blocks and throws as these two do.
///
/// In a test, the browser opener starts it on another thread, since it must not block:
///
///     std::future<auth::testing::PageAnswer> browser;
///     helper.setBrowserOpener([&browser](const CString& url) {
///         browser = std::async(std::launch::async,
///                              [page = url.toUtf8()] { return auth::testing::signIn(page); });
///         return true;
///     });
///
/// \ingroup testing
PageAnswer signIn(const std::string& authorizationUrl,
                  const std::filesystem::path& authorityFile = {});

}  // namespace auth::testing
