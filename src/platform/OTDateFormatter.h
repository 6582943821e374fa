#pragma once

#include <chrono>
#include <string>

// Fixed Gregorian formatting of instants in a zone given as a UTC offset. Cheap: no locale, no
// formatter object to build.
class OTDateFormatter {
public:
    using TimePoint = std::chrono::system_clock::time_point;

    // "yyyy-MM-dd HH:mm:ss"
    static std::string dateTime(TimePoint when, std::chrono::seconds utcOffset);
    // "yyyy-MM-dd HH:mm:ss.SSS"
    static std::string dateTimeWithMilliseconds(TimePoint when, std::chrono::seconds utcOffset);
    // "yyyy-MM-dd HH:mm:ss +0000", the way a date describes itself.
    static std::string description(TimePoint when);
};
