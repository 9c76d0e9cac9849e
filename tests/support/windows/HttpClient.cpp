#include "tests/support/HttpClient.h"

// What is said is a number with a text of the system's language. The rest is Wine's client, by its
// source: it takes a reset for -1 bytes that it has received, and then copies so many; it has no
// limit for a head, reads the system's authorities once, and closes a connection when its blocked
// receive returns.
const test::HttpClient test::httpClient = {
    "12029", "12007", "12152", "12152", "12152", "12152", false, false, false, false, false,
};
