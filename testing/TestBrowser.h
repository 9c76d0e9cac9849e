#pragma once

#include <filesystem>
#include <string>

namespace auth::testing {

// Plays the browser of a user who signs in, in the process of the test, on the pages of
// TestProvider. It keeps no cookies, follows no redirects and runs no scripts. All functions block
// for at most 30 s for each exchange, throw std::runtime_error if no answer comes, and may be
// called on any thread.
//
// A test sets a BrowserOpener that passes the URL to signIn() on another thread and returns: the
// program under test waits for the form.

/// The form that the provider's page posts by itself: the authorization response (OAuth 2.0 Form
/// Post Response Mode).
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
/// comes; if the answer contains no form, with its status and text.
///
/// \ingroup testing
FormPost openPage(const std::string& authorizationUrl,
                  const std::filesystem::path& authorityFile = {});

/// Posts the form to the redirect URL, which must be http, and returns the answer of the program
/// that listens there. Blocks for at most 30 s. Throws std::runtime_error if no answer comes.
///
/// \ingroup testing
PageAnswer submit(const FormPost& form);

/// openPage() followed by submit(): a user signs in.
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
