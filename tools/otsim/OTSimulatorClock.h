#pragma once

#include <atomic>

#include "platform/linux/OTSystemClock.h"

namespace corvane {

// The system clock moved by an offset that a scenario sets: the library reads a later (or earlier)
// now, while the scheduler's timers keep their real durations.
class OTSimulatorClock final : public OTClock {
public:
    TimePoint now() const override;
    std::chrono::seconds utcOffset(TimePoint when) const override;
    void advance(Duration by);

private:
    OTSystemClock system_;
    std::atomic<Duration::rep> offset_{0};
};

}  // namespace corvane
