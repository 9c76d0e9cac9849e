#pragma once

#include "auth/COIDCHelper.h"
#include "tests/support/Eventually.h"

#include <type_traits>

namespace test {

template <class T>
bool succeeds(const Concurrency::task<T>& task) {
    return get(task), true;
}

template <class Action, class Result = std::invoke_result_t<Action>>
bool succeeds(Action action) {
    if constexpr (std::is_same_v<Result, bool>) {
        return action();
    } else {
        return action(), true;
    }
}

/// The outcome of a check, a request or its task: "accepted", "refused" or the text of the
/// exception.
template <class T>
std::string outcome(const T& what) {
    try {
        return succeeds(what) ? "accepted" : "refused";
    } catch (const Concurrency::task_canceled&) {
        return "cancelled";
    } catch (const auth::RequiresUserAuthException& failure) {
        return std::string("user: ") + failure.what();
    } catch (const std::exception& failure) {
        return failure.what();
        // A refused refresh is thrown as a pointer.
        // NOLINTNEXTLINE(cert-err09-cpp,cert-err61-cpp,misc-throw-by-value-catch-by-reference)
    } catch (const std::exception* failure) {
        const std::unique_ptr<const std::exception> owned(failure);
        return std::string("pointer: ") + owned->what();
    } catch (...) {
        return "something else";
    }
}

}  // namespace test
