#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace auth::testing {

/// Names and values. A name may occur more than once.
///
/// \ingroup testing
using Fields = std::vector<std::pair<std::string, std::string>>;

/// A request as the provider received it. A value.
///
/// If it was not HTTP, only `head` and `connection` are reliable.
///
/// \ingroup testing
struct RecordedRequest {
    std::string method;       ///< such as "POST"
    std::string target;       ///< path and query, as sent
    std::string version;      ///< "HTTP/1.1"
    Fields headers;           ///< spelled and ordered as sent, except that equal names are adjacent
    std::string head;         ///< the raw bytes up to and including the blank line
    std::string body;         ///< without the transfer coding
    unsigned connection = 0;  ///< number of its connection; the first is 1

    /// The first header field of that name, ignoring case; "" if there is none.
    std::string header(std::string_view name) const;
    /// The body as form fields, decoded, in the order sent.
    Fields form() const;
    /// The first form field of that name, decoded; "" if there is none.
    std::string field(std::string_view name) const;
    /// The query of the target as parameters, decoded, in the order sent.
    Fields query() const;
    /// The first parameter of that name in the query, decoded; "" if there is none.
    std::string parameter(std::string_view name) const;
    /// Id and secret of the client, decoded: from Basic authentication if present, else from the
    /// form (RFC 6749, section 2.3.1).
    std::pair<std::string, std::string> client() const;
};

}  // namespace auth::testing
