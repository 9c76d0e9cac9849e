#pragma once

namespace platform {

/// Remembers the process in which it was created: a forked process has a copy of its memory, but
/// none of its threads.
class ProcessMark {
public:
    ProcessMark() noexcept;
    bool isHere() const noexcept;

private:
    long m_process;
};

}  // namespace platform
