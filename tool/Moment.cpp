#include "tool/Moment.h"

namespace tool {

using std::chrono::steady_clock;
using TimePoint = auth::COIDCToken::TimePoint;

Moment::Moment(Duration distance)
    : m_system(std::chrono::time_point_cast<Duration>(TimePoint::clock::now()) + distance),
      m_steady(steady_clock::now() + std::chrono::duration_cast<steady_clock::duration>(distance)) {
}

bool Moment::hasCome() const {
    return TimePoint::clock::now() >= m_system || steady_clock::now() >= m_steady;
}

}  // namespace tool
