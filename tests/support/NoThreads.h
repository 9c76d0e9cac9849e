#pragma once

#include "tests/support/Common.h"

#include <pthread.h>

namespace test {

/// While it exists, the system cannot create threads in this process, because their stacks would be
/// too large.
class NoThreads {
public:
    NoThreads() {
        pthread_attr_t attributes;
        if (::pthread_getattr_default_np(&attributes) != 0 ||
            ::pthread_attr_getstacksize(&attributes, &m_usual) != 0) {
            throw std::runtime_error("no thread attributes");
        }
        ::pthread_attr_destroy(&attributes);
        set(std::size_t{1} << 48U);
    }
    ~NoThreads() { set(m_usual); }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

private:
    static void set(std::size_t stackSize) {
        pthread_attr_t attributes;
        ::pthread_attr_init(&attributes);
        ::pthread_attr_setstacksize(&attributes, stackSize);
        ::pthread_setattr_default_np(&attributes);
        ::pthread_attr_destroy(&attributes);
    }

    std::size_t m_usual = 0;
};

}  // namespace test
