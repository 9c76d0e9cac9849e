#pragma once

#include "host/Export.h"
#include "host/HttpTypes.h"

#include <cpprest/http_client.h>

/// The configuration of an HTTP client for requests to `target`, with the proxy that the machine's
/// settings name for its scheme and host, if any.
///
/// The library calls this for every HTTP client that it makes, on any thread. The time-out of the
/// configuration bounds each whole exchange; the standalone host sets 30 s, and throws
/// standalone::ProxySettingsError if the setting that decides cannot be used.
///
/// \ingroup host
OIDCAUTH_HOST_API web::http::client::http_client_config get_http_proxy_config(
    const web::uri& target);
