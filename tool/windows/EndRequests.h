#pragma once

#include <functional>

namespace tool {

/// While it exists, it receives the requests to end this process, and objects created before it do
/// not: Ctrl-C, Ctrl-Break, closing the console, log-off and shutdown. If there is none, these end
/// the process.
class EndRequests {
public:
    /// Called on threads of the system, one call at a time; must not block. `isTermination`: the
    /// request does not come from the keyboard.
    using Hear = std::function<void(bool isTermination)>;

    explicit EndRequests(Hear hear);
    /// Waits for a running call.
    ~EndRequests();
    EndRequests(const EndRequests&) = delete;
    EndRequests& operator=(const EndRequests&) = delete;

    /// Called by the system. Returns whether somebody received it.
    static bool tell(bool isTermination);

private:
    const Hear m_hear;
    EndRequests* const m_before;
};

}  // namespace tool
