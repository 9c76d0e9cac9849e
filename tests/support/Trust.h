#pragma once

#include "host/HttpTypes.h"

#include <cpprest/http_client.h>

#include <string>

namespace test {

/// Makes a client trust the authority in this PEM file, too.
void trust(web::http::client::http_client_config& config, const std::string& file);

}  // namespace test
