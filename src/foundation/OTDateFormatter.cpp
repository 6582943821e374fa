#include "foundation/OTDateFormatter.h"

#include <algorithm>
#include <charconv>

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

// The value zero-padded to `width` digits, as "%0*lld" writes it; every log line stamps its time,
// so this stays clear of printf.
void appendNumber(std::string& out, long long value, std::size_t width) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    const auto length = static_cast<std::size_t>(end - digits);
    std::size_t at = 0;
    if (value < 0) {
        out += '-';
        at = 1;
    }
    if (width > length) out.append(width - length, '0');
    out.append(digits + at, end);
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
    const Civil c = toCivil(when, utcOffset);
    // Every log line is stamped with this: written straight into place instead of read from a
    // pattern. Four-digit years only; the others take the general path.
    if (c.year < 1000 || c.year > 9999) return format(when, "yyyy-MM-dd HH:mm:ss.SSS", utcOffset);
    char text[] = "0000-00-00 00:00:00.000";
    const auto put = [&text](std::size_t at, unsigned value, std::size_t width) {
        for (std::size_t i = width; i-- > 0; value /= 10) text[at + i] = static_cast<char>('0' + value % 10);
    };
    put(0, static_cast<unsigned>(c.year), 4);
    put(5, c.month, 2);
    put(8, c.day, 2);
    put(11, c.hour, 2);
    put(14, c.minute, 2);
    put(17, c.second, 2);
    put(20, c.millisecond, 3);
    return std::string(text, sizeof text - 1);
}

std::string OTDateFormatter::description(TimePoint when) { return dateTime(when, std::chrono::seconds(0)) + " +0000"; }

}  // namespace corvane
