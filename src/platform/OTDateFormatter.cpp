#include "platform/OTDateFormatter.h"

#include <cstdio>

namespace {
struct Civil {
    long long year;
    unsigned month, day, hour, minute, second, millisecond;
};

Civil toCivil(OTDateFormatter::TimePoint when, std::chrono::seconds utcOffset) {
    using namespace std::chrono;
    const auto local = time_point_cast<milliseconds>(when) + utcOffset;
    const auto days = floor<std::chrono::days>(local);
    const year_month_day ymd{days};
    const auto inDay = local - days;
    const auto ms = inDay.count();
    return Civil{static_cast<int>(ymd.year()),
                 static_cast<unsigned>(ymd.month()),
                 static_cast<unsigned>(ymd.day()),
                 static_cast<unsigned>(ms / 3'600'000),
                 static_cast<unsigned>(ms / 60'000 % 60),
                 static_cast<unsigned>(ms / 1000 % 60),
                 static_cast<unsigned>(ms % 1000)};
}
}  // namespace

std::string OTDateFormatter::dateTime(TimePoint when, std::chrono::seconds utcOffset) {
    const Civil c = toCivil(when, utcOffset);
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "%04lld-%02u-%02u %02u:%02u:%02u", c.year, c.month, c.day, c.hour, c.minute,
                  c.second);
    return buffer;
}

std::string OTDateFormatter::dateTimeWithMilliseconds(TimePoint when, std::chrono::seconds utcOffset) {
    const Civil c = toCivil(when, utcOffset);
    char buffer[56];
    std::snprintf(buffer, sizeof buffer, "%04lld-%02u-%02u %02u:%02u:%02u.%03u", c.year, c.month, c.day, c.hour,
                  c.minute, c.second, c.millisecond);
    return buffer;
}

std::string OTDateFormatter::description(TimePoint when) { return dateTime(when, std::chrono::seconds(0)) + " +0000"; }
