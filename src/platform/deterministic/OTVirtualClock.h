#pragma once

#include <atomic>

#include "platform/OTClock.h"

namespace corvane {

// A clock that only moves when told to. The manual scheduler moves it as due work runs.
class OTVirtualClock final : public OTClock {
public:
    // Starts at 2024-05-01 00:00:00 UTC unless told otherwise, in a UTC+0 zone.
    explicit OTVirtualClock(TimePoint start = defaultStart(), std::chrono::seconds utcOffset = std::chrono::seconds(0));

    TimePoint now() const override;
    std::chrono::seconds utcOffset(TimePoint when) const override;

    void setNow(TimePoint when);
    void advance(Duration by);
    void setUtcOffset(std::chrono::seconds offset);

    static TimePoint defaultStart();

private:
    std::atomic<TimePoint::rep> ticks_;
    std::atomic<std::chrono::seconds::rep> offset_;
};

}  // namespace corvane
