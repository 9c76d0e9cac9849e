#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace auth::testing {

/// Names and values; a name may occur more than once.
using Fields = std::vector<std::pair<std::string, std::string>>;

/// A request as the provider received it. Of one that is no HTTP only `head` and `connection` are
/// reliable.
struct RecordedRequest {
    std::string method;
    std::string target;       ///< path and query, as sent
    std::string version;      ///< "HTTP/1.1"
    Fields headers;           ///< spelled as sent and in that order, but equal names side by side
    std::string head;         ///< the raw bytes up to and including the blank line
    std::string body;         ///< without the transfer coding
    unsigned connection = 0;  ///< ordinal of the connection it came on, the first is 1

    /// The first header field of that name, whatever its case; "" if there is none.
    std::string header(std::string_view name) const;
    /// The body as form fields in the order sent, decoded.
    Fields form() const;
    /// The first form field of that name, decoded; "" if there is none.
    std::string field(std::string_view name) const;
    /// The query of the target in the order sent, decoded.
    Fields query() const;
    /// The first parameter of that name in the query, decoded; "" if there is none.
    std::string parameter(std::string_view name) const;
    /// Id and secret of the client, decoded: from Basic authentication if there is any, otherwise
    /// from the form.
    std::pair<std::string, std::string> client() const;
};

}  // namespace auth::testing
