#include "fuzz/SignIn.h"

#include "auth/detail/Error.h"
#include "fuzz/Documented.h"
#include "fuzz/ReplayedExchange.h"
#include "fuzz/Require.h"
#include "platform/Timer.h"

#include <cpprest/asyncrt_utils.h>

#include <chrono>
#include <functional>
#include <map>
#include <sstream>
#include <utility>

namespace {

/// The functions that the running timers call.
std::map<const platform::RepeatingTimer*, std::function<void()>> ticks;

constexpr unsigned timeoutSeconds = 600;

}  // namespace

namespace platform {

// Replaces the timer: time passes when we say so.

struct RepeatingTimer::Impl {};

RepeatingTimer::RepeatingTimer(std::chrono::milliseconds /*period*/, std::function<void()> call) {
    ticks.emplace(this, std::move(call));
}

RepeatingTimer::~RepeatingTimer() {
    ticks.erase(this);
}

}  // namespace platform

namespace fuzz {

SignIn::SignIn(const CString& redirectUrl) {
    runTasksInline();
    m_listener.emplace(redirectUrl);
    m_received =
        m_listener->getAuthCodeAsync(timeoutSeconds, Concurrency::cancellation_token::none());
}

SignIn::~SignIn() {
    if (m_listener) {
        end();  // its timer must not outlive it
    }
}

std::optional<SignIn::Code> SignIn::end() {
    m_listener.reset();
    for (const auto& [timer, tick] : std::map(ticks)) {  // a tick can stop its timer
        tick();
    }
    require(m_received.is_done());
    std::optional<Code> received;
    completes<auth::detail::Error, auth::COIDCAuthCodeListener::RefusedForm>(
        [&] { received = m_received.get(); });
    return received;
}

bool isOf(const std::string& form, const std::optional<SignIn::Code>& received) {
    // The HTTP library also treats semicolons after the last & as separators. No browser sends one
    // in a form.
    if (form.find(';') != std::string::npos) {
        return true;
    }
    std::map<std::string, std::string> fields;
    std::istringstream stream(utility::conversions::latin1_to_utf8(form));
    for (std::string field; std::getline(stream, field, '&');) {
        const auto name = field.find('=');
        if (name != std::string::npos) {
            fields[field.substr(0, name)] = field.substr(name + 1);
        }
    }
    if (!received) {
        return fields.count("code") + fields.count("id_token") + fields.count("state") < 3;
    }
    return fields.at("code") == received->code && fields.at("id_token") == received->idToken &&
           fields.at("state") == received->state;
}

}  // namespace fuzz
