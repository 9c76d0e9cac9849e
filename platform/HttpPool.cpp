#include "platform/HttpPool.h"

#include <openssl/crypto.h>
#include <pplx/threadpool.h>

namespace platform {

boost::asio::io_service& httpPool() {
    OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
    return crossplat::threadpool::shared_instance().service();
}

}  // namespace platform
