#pragma once

#include "host/HttpTypes.h"

#include <cpprest/http_client.h>

#include <string>

namespace test {

/// Lets a client trust the authority of this PEM file, too.
void trust(web::http::client::http_client_config& config, const std::string& file);

}  // namespace test
