#pragma once

#include <chrono>

namespace corvane {

// Wall-clock time as the library sees it. Production reads the system clock; tests move a virtual one.
class OTClock {
public:
    using TimePoint = std::chrono::system_clock::time_point;
    using Duration = std::chrono::system_clock::duration;

    virtual ~OTClock() = default;
    virtual TimePoint now() const = 0;
    // Offset of the device's local time from UTC at `when` (daylight saving included).
    virtual std::chrono::seconds utcOffset(TimePoint when) const = 0;
};

}  // namespace corvane
