#include "tests/support/HttpClient.h"

const test::HttpClient test::httpClient = {
    "Failed to connect to any resolved endpoint",
    "Error resolving address",
    "Failed to read HTTP status line",
    "cannot rewind input stream",
    "Failed to read response body",
    "Invalid HTTP status line",
    true,
    true,
    true,
    true,
    true,
};
