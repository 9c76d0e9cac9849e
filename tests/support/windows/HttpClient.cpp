#include "tests/support/HttpClient.h"

// Messages have a number and a text in the system's language. The rest describes Wine's client,
// according to its source: it treats a reset as -1 received bytes and then copies that many; it has
// no limit for a head, reads the system's authorities once, and only closes a connection when its
// blocked receive returns.
const test::HttpClient test::httpClient = {
    "12029", "12007", "12152", "12152", "12152", "12152", false, false, false, false, false,
};
