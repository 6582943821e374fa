#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

// Fixed Gregorian formatting and parsing of instants in a zone given as a UTC offset, with the
// pattern letters yyyy, MM, dd, HH, mm, ss and SSS (anything else is literal text). No locale, no
// 12-hour reading and no formatter object to build, so a device's settings cannot change a result.
class OTDateFormatter {
public:
    using TimePoint = std::chrono::system_clock::time_point;
    static constexpr const char* kDefaultFormat = "yyyy-MM-dd HH:mm:ss";
    // Texts with years outside these read as no date: a time point of nanoseconds since 1970
    // holds about 1678 to 2262.
    static constexpr long long kFirstYear = 1700;
    static constexpr long long kLastYear = 2200;

    static std::string format(TimePoint when, std::string_view pattern, std::chrono::seconds utcOffset);
    // The local wall time of `text` read with `pattern`, as an instant in the zone of `utcOffsetAt`
    // (asked for the offset in force at the instant). Numeric fields take one digit up to the
    // pattern's width; the whole text must be consumed and every field be a real calendar value.
    template <class OffsetAt>
    static std::optional<TimePoint> parse(std::string_view text, std::string_view pattern, OffsetAt utcOffsetAt) {
        auto wall = parseWallTime(text, pattern);
        if (!wall) return std::nullopt;
        // Two rounds settle the offset of the instant itself, daylight saving included.
        TimePoint guess = *wall - utcOffsetAt(*wall);
        return *wall - utcOffsetAt(guess);
    }

    // "yyyy-MM-dd HH:mm:ss"
    static std::string dateTime(TimePoint when, std::chrono::seconds utcOffset);
    // "yyyy-MM-dd HH:mm:ss.SSS"
    static std::string dateTimeWithMilliseconds(TimePoint when, std::chrono::seconds utcOffset);
    // "yyyy-MM-dd HH:mm:ss +0000", the way a date describes itself.
    static std::string description(TimePoint when);

private:
    // The wall time of the text as if it were UTC.
    static std::optional<TimePoint> parseWallTime(std::string_view text, std::string_view pattern);
};

}  // namespace corvane
