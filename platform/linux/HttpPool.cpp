#include "platform/linux/HttpPool.h"

#include "platform/HttpThreads.h"
#include "platform/ProcessMark.h"
#include "platform/TaskScheduler.h"

#include <openssl/crypto.h>
#include <pplx/threadpool.h>

#include <cstddef>
#include <future>
#include <memory>
#include <stdexcept>
#include <vector>

namespace platform {

namespace {

/// If the HTTP library gets only some of its threads, it crashes the process.
void requireThreads() {
    constexpr std::size_t threadsOfThePool = 40;
    std::promise<void> allThere;
    const std::shared_future<void> end = allThere.get_future().share();
    std::vector<std::future<void>> threads;
    const std::shared_ptr<void> release(nullptr, [&](void*) { allThere.set_value(); });
    for (std::size_t i = 0; i < threadsOfThePool; ++i) {
        threads.push_back(std::async(std::launch::async, [end] { end.wait(); }));
    }
}

struct Pool {
    Pool() {
        requireThreads();
        OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
        service = &crossplat::threadpool::shared_instance().service();
        stopAtProcessEnd();
    }

    boost::asio::io_service* service;
    ProcessMark home;
};

}  // namespace

boost::asio::io_service& httpPool() {
    if (processEnd().is_canceled()) {
        throw Concurrency::task_canceled();  // the threads are ending or gone
    }
    static const Pool pool;
    if (!pool.home.isHere()) {
        throw std::runtime_error("the HTTP library was used before this process was forked");
    }
    return *pool.service;
}

void requireHttpThreads() {
    httpPool();
}

}  // namespace platform
