#pragma once

// Gives the task types one name on all systems. Microsoft's compiler has them itself; elsewhere
// they are those of the HTTP library.

#if defined(_MSC_VER)
#include <ppltasks.h>
#else
#include <pplx/pplxtasks.h>

/// The task types of the HTTP library, the C++ REST SDK: pplx::task and its companions.
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
