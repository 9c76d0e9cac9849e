#pragma once

#include <functional>

namespace tool {

/// While it lives, requests to end this process come to it, and to no one that was made before:
/// Ctrl-C and Ctrl-Break, and the console that is closed, the log-off and the shutdown. Where there
/// is none, they end the process.
class EndRequests {
public:
    /// Called on threads of the system's, one call at a time, and not to wait for anything.
    /// `isTermination`: it came from elsewhere than the keyboard.
    using Hear = std::function<void(bool isTermination)>;

    explicit EndRequests(Hear hear);
    /// Waits for a call that is under way.
    ~EndRequests();
    EndRequests(const EndRequests&) = delete;
    EndRequests& operator=(const EndRequests&) = delete;

    /// For the system. Whether there is one that has heard it.
    static bool tell(bool isTermination);

private:
    const Hear m_hear;
    EndRequests* const m_before;
};

}  // namespace tool
