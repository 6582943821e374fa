#include "OTSimulatorClock.h"

namespace corvane {

OTClock::TimePoint OTSimulatorClock::now() const { return system_.now() + Duration(offset_.load()); }

std::chrono::seconds OTSimulatorClock::utcOffset(TimePoint when) const { return system_.utcOffset(when); }

void OTSimulatorClock::advance(Duration by) { offset_.fetch_add(by.count()); }

}  // namespace corvane
