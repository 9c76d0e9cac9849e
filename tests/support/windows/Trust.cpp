#include "tests/support/Trust.h"

// WinHTTP trusts the authorities of the machine and of the user only, to which no test adds one:
// the tests over TLS fail here.
void test::trust(web::http::client::http_client_config&, const std::string&) {}
