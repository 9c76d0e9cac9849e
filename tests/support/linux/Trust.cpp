#include "tests/support/Trust.h"

#include <boost/asio/ssl/context.hpp>

void test::trust(web::http::client::http_client_config& config, const std::string& file) {
    config.set_ssl_context_callback(
        [file](boost::asio::ssl::context& context) { context.load_verify_file(file); });
}
