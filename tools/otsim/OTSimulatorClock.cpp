#include "OTSimulatorClock.h"

#include <utility>

namespace corvane {

OTSimulatorClock::OTSimulatorClock(std::shared_ptr<OTClock> base) : base_(std::move(base)) {}

OTClock::TimePoint OTSimulatorClock::now() const { return base_->now() + Duration(offset_.load()); }

std::chrono::seconds OTSimulatorClock::utcOffset(TimePoint when) const { return base_->utcOffset(when); }

void OTSimulatorClock::advance(Duration by) { offset_.fetch_add(by.count()); }

}  // namespace corvane
