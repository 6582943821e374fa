#include "platform/linux/OTSystemClock.h"

#include <ctime>

namespace corvane {

OTClock::TimePoint OTSystemClock::now() const { return std::chrono::system_clock::now(); }

std::chrono::seconds OTSystemClock::utcOffset(TimePoint when) const {
    const std::time_t t = std::chrono::system_clock::to_time_t(when);
    std::tm local{};
    if (localtime_r(&t, &local) == nullptr) return std::chrono::seconds(0);
    return std::chrono::seconds(local.tm_gmtoff);
}

}  // namespace corvane
