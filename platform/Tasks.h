#pragma once

// The task types under the one name by which this project calls them. Microsoft's compiler brings
// them itself; elsewhere they are the HTTP library's.

#if defined(_MSC_VER)
#include <ppltasks.h>
#else
#include <pplx/pplxtasks.h>

namespace Concurrency {
using pplx::canceled;
using pplx::cancellation_token;
using pplx::cancellation_token_registration;
using pplx::cancellation_token_source;
using pplx::create_task;
using pplx::scheduler_interface;
using pplx::scheduler_ptr;
using pplx::task;
using pplx::task_canceled;
using pplx::task_completion_event;
using pplx::task_from_exception;
using pplx::task_from_result;
using pplx::task_options;
using pplx::TaskProc_t;
}  // namespace Concurrency
#endif
