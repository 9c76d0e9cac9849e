#include "tool/Interrupt.h"

#include <memory>

namespace tool {

namespace {

class InlineScheduler final : public Concurrency::scheduler_interface {
public:
    void schedule(Concurrency::TaskProc_t body, void* parameter) override { body(parameter); }
};

}  // namespace

Concurrency::task_options atOnce() {
    // Shared and not static: at the end of the process, a static could be destroyed while another
    // thread uses it.
    return {Concurrency::scheduler_ptr(std::make_shared<InlineScheduler>())};
}

Interrupt::Interrupt(const Concurrency::cancellation_token_source& source)
    : m_signals(source), m_thread([this] { m_signals.run([this] { return m_isOver.load(); }); }) {}

Interrupt::~Interrupt() {
    m_isOver = true;
    m_signals.waker()();
    m_thread.join();
}

}  // namespace tool
