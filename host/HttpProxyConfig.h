#pragma once

#include "host/Export.h"
#include "host/HttpTypes.h"

#include <cpprest/http_client.h>

/// The HTTP client configuration with the machine's proxy settings for requests to `target`, whose
/// scheme and host can decide whether a proxy is used and which. The library takes it for every
/// HTTP client that it makes; its time-out bounds each whole exchange.
OIDCAUTH_HOST_API web::http::client::http_client_config get_http_proxy_config(
    const web::uri& target);
