#include "foundation/OTText.h"

#include <cstdint>
#include <limits>

namespace corvane {

namespace {
// Length of the blank at the start (or, going backwards, ending at) `at`; 0 when none.
std::size_t blankLength(std::string_view text, std::size_t at, bool backwards, bool lineBreaks) {
    // Space separators beyond ASCII, and the line and paragraph separators with NEL.
    static constexpr std::string_view kSpaces[] = {"\xC2\xA0",     "\xE1\x9A\x80", "\xE2\x80\x80", "\xE2\x80\x81",
                                                   "\xE2\x80\x82", "\xE2\x80\x83", "\xE2\x80\x84", "\xE2\x80\x85",
                                                   "\xE2\x80\x86", "\xE2\x80\x87", "\xE2\x80\x88", "\xE2\x80\x89",
                                                   "\xE2\x80\x8A", "\xE2\x80\xAF", "\xE2\x81\x9F", "\xE3\x80\x80"};
    static constexpr std::string_view kBreaks[] = {"\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"};
    const char c = backwards ? text[at - 1] : text[at];
    if (c == ' ' || c == '\t') return 1;
    if (lineBreaks && (c == '\n' || c == '\r' || c == '\v' || c == '\f')) return 1;
    auto matches = [&](std::string_view b) {
        return backwards ? (at >= b.size() && text.substr(at - b.size(), b.size()) == b)
                         : text.substr(at, b.size()) == b;
    };
    for (auto b : kSpaces) {
        if (matches(b)) return b.size();
    }
    if (lineBreaks) {
        for (auto b : kBreaks) {
            if (matches(b)) return b.size();
        }
    }
    return 0;
}
}  // namespace

std::string OTText::lowercase(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return out;
}

bool OTText::equalsIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && lowercase(a) == lowercase(b);
}

std::string OTText::trimmed(std::string_view text, bool lineBreaks) {
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end) {
        const std::size_t n = blankLength(text, begin, false, lineBreaks);
        if (n == 0) break;
        begin += n;
    }
    while (end > begin) {
        const std::size_t n = blankLength(text, end, true, lineBreaks);
        if (n == 0) break;
        end -= n;
    }
    return std::string(text.substr(begin, end - begin));
}

std::string OTText::replacingOccurrences(std::string_view text, std::string_view of, std::string_view with) {
    if (of.empty()) return std::string(text);
    std::string out;
    std::size_t from = 0;
    for (std::size_t at = text.find(of); at != std::string_view::npos; at = text.find(of, from)) {
        out.append(text.substr(from, at - from));
        out.append(with);
        from = at + of.size();
    }
    out.append(text.substr(from));
    return out;
}

std::string OTText::percentEncodedForQuery(std::string_view text) {
    static constexpr std::string_view kAllowed = "-._~!$&'()*+,;=:@/?";
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool alphanumeric = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (alphanumeric || kAllowed.find(c) != std::string_view::npos) {
            out += c;
        } else {
            out += '%';
            out += kHex[byte >> 4];
            out += kHex[byte & 0xF];
        }
    }
    return out;
}

bool OTText::containsCJKIdeograph(std::string_view text) {
    for (std::size_t i = 0; i + 2 < text.size(); ++i) {
        const auto a = static_cast<unsigned char>(text[i]);
        if ((a & 0xF0) != 0xE0) continue;
        const auto b = static_cast<unsigned char>(text[i + 1]);
        const auto c = static_cast<unsigned char>(text[i + 2]);
        if ((b & 0xC0) != 0x80 || (c & 0xC0) != 0x80) continue;
        const std::uint32_t code = ((a & 0x0Fu) << 12) | ((b & 0x3Fu) << 6) | (c & 0x3Fu);
        if (code > 0x4E00 && code < 0x9FFF) return true;
    }
    return false;
}

std::int64_t OTText::integerValue(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\n' || text[i] == '\r' ||
                               text[i] == '\f' || text[i] == '\v')) {
        ++i;
    }
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
    std::uint64_t magnitude = 0;
    const std::uint64_t limit = negative ? static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) + 1
                                         : static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        const auto digit = static_cast<std::uint64_t>(text[i] - '0');
        if (magnitude > (limit - digit) / 10) {
            magnitude = limit;
            break;
        }
        magnitude = magnitude * 10 + digit;
    }
    if (negative) {
        return magnitude == limit ? std::numeric_limits<std::int64_t>::min() : -static_cast<std::int64_t>(magnitude);
    }
    return static_cast<std::int64_t>(magnitude);
}

}  // namespace corvane
