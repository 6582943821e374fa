#include <gtest/gtest.h>

#include <chrono>

#include "foundation/OTDateFormatter.h"

namespace corvane {

using namespace std::chrono;

TEST(OTDateFormatter, LogStampsMatchThePatternAcrossDaysYearsAndZones) {
    const auto at = [](int y, unsigned m, unsigned d, int h, int min, int s, int ms) {
        return OTDateFormatter::TimePoint(sys_days(year(y) / month(m) / day(d))) + hours(h) + minutes(min) +
               seconds(s) + milliseconds(ms);
    };
    EXPECT_EQ(OTDateFormatter::dateTimeWithMilliseconds(at(2026, 11, 24, 9, 5, 7, 42), hours(8)),
              "2026-11-24 17:05:07.042");
    // A zone west of UTC, across midnight and a leap day.
    EXPECT_EQ(OTDateFormatter::dateTimeWithMilliseconds(at(2024, 3, 1, 2, 0, 0, 0), -hours(5)),
              "2024-02-29 21:00:00.000");
    EXPECT_EQ(OTDateFormatter::dateTimeWithMilliseconds(at(1999, 12, 31, 23, 59, 59, 999), seconds(0)),
              "1999-12-31 23:59:59.999");
    // Near the ends of what a time point holds, and zones of odd minutes.
    for (const auto when :
         {at(1700, 1, 1, 0, 0, 0, 1), at(2261, 12, 31, 23, 59, 59, 998), at(1970, 1, 1, 0, 0, 0, 0)}) {
        for (const seconds offset :
             {seconds(0), seconds(hours(14)), seconds(-hours(12)), seconds(5 * 3600 + 45 * 60)}) {
            EXPECT_EQ(OTDateFormatter::dateTimeWithMilliseconds(when, offset),
                      OTDateFormatter::format(when, "yyyy-MM-dd HH:mm:ss.SSS", offset));
        }
    }
    // Every millisecond of a second and every second of a day read as the general formatter reads them.
    const auto start = at(2026, 6, 30, 0, 0, 0, 0);
    for (int step = 0; step < 86'400; step += 997) {
        const auto when = start + seconds(step) + milliseconds(step % 1000);
        ASSERT_EQ(OTDateFormatter::dateTimeWithMilliseconds(when, hours(8)),
                  OTDateFormatter::format(when, "yyyy-MM-dd HH:mm:ss.SSS", hours(8)));
    }
    EXPECT_EQ(OTDateFormatter::format(start, "yy/M/d H:m:s.SSS", seconds(0)), "26/6/30 0:0:0.000");
}

}  // namespace corvane
