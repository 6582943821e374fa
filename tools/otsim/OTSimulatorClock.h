#pragma once

#include <atomic>
#include <memory>

#include "platform/OTClock.h"

namespace corvane {

// A clock moved by an offset that a scenario sets: the library reads a later (or earlier) now,
// while the scheduler's timers keep the durations of the clock underneath (the system's, or a
// simulation's virtual one).
class OTSimulatorClock final : public OTClock {
public:
    explicit OTSimulatorClock(std::shared_ptr<OTClock> base);
    TimePoint now() const override;
    std::chrono::seconds utcOffset(TimePoint when) const override;
    void advance(Duration by);
    Duration offset() const { return Duration(offset_.load()); }

private:
    const std::shared_ptr<OTClock> base_;
    std::atomic<Duration::rep> offset_{0};
};

}  // namespace corvane
