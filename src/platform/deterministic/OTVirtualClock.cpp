#include "platform/deterministic/OTVirtualClock.h"

namespace corvane {

OTVirtualClock::OTVirtualClock(TimePoint start, std::chrono::seconds utcOffset)
    : ticks_(start.time_since_epoch().count()), offset_(utcOffset.count()) {}

OTClock::TimePoint OTVirtualClock::now() const { return TimePoint(Duration(ticks_.load())); }

std::chrono::seconds OTVirtualClock::utcOffset(TimePoint) const { return std::chrono::seconds(offset_.load()); }

void OTVirtualClock::setNow(TimePoint when) { ticks_.store(when.time_since_epoch().count()); }

void OTVirtualClock::advance(Duration by) { ticks_.fetch_add(by.count()); }

void OTVirtualClock::setUtcOffset(std::chrono::seconds offset) { offset_.store(offset.count()); }

OTClock::TimePoint OTVirtualClock::defaultStart() {
    return TimePoint(std::chrono::seconds(1714521600));  // 2024-05-01 00:00:00 UTC
}

}  // namespace corvane
