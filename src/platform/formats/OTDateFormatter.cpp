#include "platform/formats/OTDateFormatter.h"

#include <algorithm>
#include <cstdio>

namespace corvane {

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
    const auto ms = (local - days).count();
    return Civil{static_cast<int>(ymd.year()),
                 static_cast<unsigned>(ymd.month()),
                 static_cast<unsigned>(ymd.day()),
                 static_cast<unsigned>(ms / 3'600'000),
                 static_cast<unsigned>(ms / 60'000 % 60),
                 static_cast<unsigned>(ms / 1000 % 60),
                 static_cast<unsigned>(ms % 1000)};
}

// The pattern field starting at `at`: its letter and how many times it repeats.
std::size_t runLength(std::string_view pattern, std::size_t at) {
    std::size_t n = 1;
    while (at + n < pattern.size() && pattern[at + n] == pattern[at]) ++n;
    return n;
}

bool isField(char c) { return c == 'y' || c == 'M' || c == 'd' || c == 'H' || c == 'm' || c == 's' || c == 'S'; }

void appendNumber(std::string& out, long long value, std::size_t width) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%0*lld", static_cast<int>(width), value);
    out += buffer;
}
}  // namespace

std::string OTDateFormatter::format(TimePoint when, std::string_view pattern, std::chrono::seconds utcOffset) {
    const Civil c = toCivil(when, utcOffset);
    std::string out;
    for (std::size_t i = 0; i < pattern.size();) {
        const char letter = pattern[i];
        if (!isField(letter)) {
            out += letter;
            ++i;
            continue;
        }
        const std::size_t n = runLength(pattern, i);
        switch (letter) {
            case 'y': appendNumber(out, n == 2 ? c.year % 100 : c.year, n); break;
            case 'M': appendNumber(out, c.month, n); break;
            case 'd': appendNumber(out, c.day, n); break;
            case 'H': appendNumber(out, c.hour, n); break;
            case 'm': appendNumber(out, c.minute, n); break;
            case 's': appendNumber(out, c.second, n); break;
            default: appendNumber(out, c.millisecond, 3); break;
        }
        i += n;
    }
    return out;
}

std::optional<OTDateFormatter::TimePoint> OTDateFormatter::parseWallTime(std::string_view text,
                                                                         std::string_view pattern) {
    long long year = 1970;
    unsigned month = 1, day = 1, hour = 0, minute = 0, second = 0, millisecond = 0;
    std::size_t at = 0;
    for (std::size_t i = 0; i < pattern.size();) {
        const char letter = pattern[i];
        if (!isField(letter)) {
            if (at >= text.size() || text[at] != letter) return std::nullopt;
            ++at;
            ++i;
            continue;
        }
        const std::size_t n = runLength(pattern, i);
        const std::size_t width = letter == 'y' ? std::max<std::size_t>(n, 4) : (letter == 'S' ? n : 2);
        std::size_t digits = 0;
        long long value = 0;
        while (digits < width && at < text.size() && text[at] >= '0' && text[at] <= '9') {
            value = value * 10 + (text[at] - '0');
            ++at;
            ++digits;
        }
        if (digits == 0) return std::nullopt;
        switch (letter) {
            case 'y': year = value; break;
            case 'M': month = static_cast<unsigned>(value); break;
            case 'd': day = static_cast<unsigned>(value); break;
            case 'H': hour = static_cast<unsigned>(value); break;
            case 'm': minute = static_cast<unsigned>(value); break;
            case 's': second = static_cast<unsigned>(value); break;
            default: {
                while (digits < 3) {
                    value *= 10;
                    ++digits;
                }
                millisecond = static_cast<unsigned>(value);
            }
        }
        i += n;
    }
    if (at != text.size() || hour > 23 || minute > 59 || second > 59 || millisecond > 999) return std::nullopt;
    // A time point holds nanoseconds since 1970: years far outside ours cannot be one.
    if (year < kFirstYear || year > kLastYear) return std::nullopt;
    const std::chrono::year_month_day ymd{std::chrono::year(static_cast<int>(year)), std::chrono::month(month),
                                          std::chrono::day(day)};
    if (!ymd.ok()) return std::nullopt;
    return TimePoint(std::chrono::sys_days(ymd)) + std::chrono::hours(hour) + std::chrono::minutes(minute) +
           std::chrono::seconds(second) + std::chrono::milliseconds(millisecond);
}

std::string OTDateFormatter::dateTime(TimePoint when, std::chrono::seconds utcOffset) {
    return format(when, kDefaultFormat, utcOffset);
}

std::string OTDateFormatter::dateTimeWithMilliseconds(TimePoint when, std::chrono::seconds utcOffset) {
    return format(when, "yyyy-MM-dd HH:mm:ss.SSS", utcOffset);
}

std::string OTDateFormatter::description(TimePoint when) { return dateTime(when, std::chrono::seconds(0)) + " +0000"; }

}  // namespace corvane
