#include "platform/HttpThreads.h"

#include "platform/TaskScheduler.h"

namespace platform {

void requireHttpThreads() {
    if (processEnd().is_canceled()) {
        throw Concurrency::task_canceled();
    }
}

}  // namespace platform
