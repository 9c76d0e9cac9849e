#pragma once

#include "platform/Tasks.h"
#include "tool/Interrupt.h"

#include <cpprest/http_msg.h>

#include <string>

namespace tool {

/// The HTTP library's error with the host in its text: by itself it names neither host nor URL.
web::http::http_exception named(const web::http::http_exception& error, const std::string& url);

/// Waits for a request whose outcome is no longer needed: it still uses objects that its caller is
/// about to destroy.
template <class Task>
void endUnheard(const Concurrency::cancellation_token_source& source, const Task& request) {
    source.cancel();
    try {
        request.wait();
    } catch (...) {  // NOLINT(bugprone-empty-catch)
    }
}

/// The outcome of a request to the provider with this configuration URL. Ctrl-C cancels the
/// request. `start` returns its task for a cancellation token.
template <class Start>
auto ask(const std::string& configUrl, Start start) {
    const Concurrency::cancellation_token_source source;
    try {
        // Before the start: otherwise a signal would end the process during the request.
        const Signals signals(source);
        const auto answer = start(source.get_token());
        // A token from the store is there at once.
        if (!answer.is_done()) {
            try {
                waitFor(answer, signals);
            } catch (...) {
                endUnheard(source, answer);
                throw;
            }
        }
        return answer.get();
    } catch (const web::http::http_exception& error) {
        throw named(error, configUrl);
    }
}

}  // namespace tool
