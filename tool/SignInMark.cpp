#include "tool/SignInMark.h"

#include "host/standalone/TokenStoreError.h"

#include <sstream>
#include <string>

namespace tool {

namespace {

using std::chrono::seconds;

}  // namespace

SignInMark::SignInMark(const std::filesystem::path& file)
    : m_file(file.empty() ? nullptr : std::make_unique<standalone::SecretFile>(file)) {}

std::optional<SignInMark::Clock::time_point> SignInMark::pausedUntil() const {
    if (!m_file) {
        return std::nullopt;
    }
    const auto bytes = m_file->read(true);
    std::istringstream text(std::string(bytes.begin(), bytes.end()));
    seconds::rep count = 0;
    if (!(text >> count)) {
        return std::nullopt;
    }
    const Clock::duration age = Clock::now().time_since_epoch() - seconds(count);
    // A time in the future means that the clock was set back: it could suppress pages for years.
    if (age < Clock::duration::zero() || age >= signInLimit + pause) {
        return std::nullopt;
    }
    return Clock::time_point(seconds(count) + signInLimit + pause);
}

void SignInMark::set() {
    if (m_file) {
        const auto now = Clock::now().time_since_epoch();
        const auto text = std::to_string(std::chrono::floor<seconds>(now).count());
        m_file->write({text.begin(), text.end()});
        m_isOurs = true;
    }
}

void SignInMark::answered() noexcept {
    if (m_isOurs) {
        remove();
    }
}

void SignInMark::remove() noexcept {
    try {
        if (m_file) {
            m_file->clear();
        }
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): it ends by itself
    }
}

}  // namespace tool
