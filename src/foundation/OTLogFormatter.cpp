#include "foundation/OTLogFormatter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "foundation/OTDateFormatter.h"
#include "foundation/OTDescription.h"

namespace corvane {

OTLogArgument::OTLogArgument(const nlohmann::json& value) {
    value_ = OTDescription::describe(value, kMaxDescribedBytes, omitted_);
}

OTLogArgument::OTLogArgument(std::chrono::system_clock::time_point value)
    : value_(OTDateFormatter::description(value)) {}

std::string OTLogArgument::description() const {
    return std::visit(
        [](const auto& v) -> std::string {
            using V = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<V, std::monostate>) return "(null)";
            else if constexpr (std::is_same_v<V, std::int64_t> || std::is_same_v<V, std::uint64_t>)
                return std::to_string(v);
            else if constexpr (std::is_same_v<V, double>) return nlohmann::json(v).dump();
            else if constexpr (std::is_same_v<V, std::shared_ptr<const std::string>>) return *v;
            else return std::string(v);
        },
        value_);
}

std::optional<std::int64_t> OTLogArgument::asSigned() const {
    if (const auto* i = std::get_if<std::int64_t>(&value_)) return *i;
    if (const auto* u = std::get_if<std::uint64_t>(&value_)) return static_cast<std::int64_t>(*u);
    if (const auto* d = std::get_if<double>(&value_)) {
        if (!std::isfinite(*d) || std::fabs(*d) >= 9.2e18) return 0;
        return static_cast<std::int64_t>(*d);
    }
    return std::nullopt;
}

std::optional<double> OTLogArgument::asReal() const {
    if (const auto* d = std::get_if<double>(&value_)) return *d;
    if (const auto* i = std::get_if<std::int64_t>(&value_)) return static_cast<double>(*i);
    if (const auto* u = std::get_if<std::uint64_t>(&value_)) return static_cast<double>(*u);
    return std::nullopt;
}

std::optional<std::string_view> OTLogArgument::asText() const {
    if (const auto* s = std::get_if<std::string_view>(&value_)) return *s;
    if (const auto* s = std::get_if<std::string>(&value_)) return std::string_view(*s);
    if (const auto* s = std::get_if<std::shared_ptr<const std::string>>(&value_)) return std::string_view(**s);
    return std::nullopt;
}

namespace {
// The length modifiers an integer conversion cares about: "l", "ll", "q", "z", "j" and "t" are all
// 64 bits here; any other, or none, is an int.
enum class Length { Int, Char, Short, Wide };

struct Conversion {
    std::string flags;
    int width = -1;
    int precision = -1;
    Length length = Length::Int;
    char letter = 0;
};

// The length a modifier as written ("hh", "l", "L", …) gives.
Length lengthOf(std::string_view written) {
    if (written.empty()) return Length::Int;
    if (written == "hh") return Length::Char;
    if (written == "h") return Length::Short;
    if (written == "l" || written == "ll" || written == "q" || written == "z" || written == "j" || written == "t") {
        return Length::Wide;
    }
    return Length::Int;
}

template <class T>
void appendPrintf(std::string& out, const std::string& pattern, T value) {
    char small[256];
    const int n = std::snprintf(small, sizeof small, pattern.c_str(), value);
    if (n < 0) return;
    if (static_cast<std::size_t>(n) < sizeof small) {
        out.append(small, static_cast<std::size_t>(n));
        return;
    }
    std::string big(static_cast<std::size_t>(n) + 1, '\0');
    std::snprintf(big.data(), big.size(), pattern.c_str(), value);
    out.append(big.data(), static_cast<std::size_t>(n));
}

std::string printfPattern(const Conversion& conversion, const char* length, char letter) {
    std::string pattern = "%" + conversion.flags;
    if (conversion.width >= 0) pattern += std::to_string(conversion.width);
    if (conversion.precision >= 0) {
        pattern += '.';
        pattern += std::to_string(conversion.precision);
    }
    pattern += length;
    pattern += letter;
    return pattern;
}

// Pads a text the way %s would, honouring width, precision and '-'.
void appendPadded(std::string& out, std::string_view text, const Conversion& conversion) {
    if (conversion.precision >= 0 && text.size() > static_cast<std::size_t>(conversion.precision)) {
        text = text.substr(0, static_cast<std::size_t>(conversion.precision));
    }
    const std::size_t width = conversion.width > 0 ? static_cast<std::size_t>(conversion.width) : 0;
    const std::size_t pad = width > text.size() ? width - text.size() : 0;
    const bool left = conversion.flags.find('-') != std::string::npos;
    if (!left) out.append(pad, ' ');
    out.append(text);
    if (left) out.append(pad, ' ');
}

// No flags, width or precision: what printf writes is the plain decimal digits.
bool plain(const Conversion& conversion) {
    return conversion.flags.empty() && conversion.width < 0 && conversion.precision < 0;
}

template <class T>
void appendDecimal(std::string& out, T value) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    out.append(digits, end);
}

void appendInteger(std::string& out, const Conversion& conversion, const OTLogArgument& arg) {
    const auto value = arg.asSigned();
    if (!value) {
        appendPadded(out, arg.isNull() ? std::string_view("(null)") : *arg.asText(), conversion);
        return;
    }
    const bool isSigned = conversion.letter == 'd' || conversion.letter == 'i';
    const auto length = conversion.length;
    if (isSigned) {
        long long v = *value;
        // %hhd shows the value's low byte as a signed char, as printf does.
        if (length == Length::Char) v = (v & 0xFF) >= 0x80 ? (v & 0xFF) - 0x100 : (v & 0xFF);
        else if (length == Length::Short) v = static_cast<short>(v);
        else if (length == Length::Int) v = static_cast<int>(v);
        if (plain(conversion)) return appendDecimal(out, v);
        appendPrintf(out, printfPattern(conversion, "ll", conversion.letter), v);
    } else {
        unsigned long long v = static_cast<std::uint64_t>(*value);
        if (length == Length::Char) v = static_cast<unsigned char>(v);
        else if (length == Length::Short) v = static_cast<unsigned short>(v);
        else if (length == Length::Int) v = static_cast<unsigned int>(v);
        if (conversion.letter == 'u' && plain(conversion)) return appendDecimal(out, v);
        appendPrintf(out, printfPattern(conversion, "ll", conversion.letter), v);
    }
}

void appendReal(std::string& out, const Conversion& conversion, const OTLogArgument& arg) {
    const auto value = arg.asReal();
    if (!value) {
        appendPadded(out, arg.isNull() ? std::string_view("(null)") : *arg.asText(), conversion);
        return;
    }
    appendPrintf(out, printfPattern(conversion, "", conversion.letter), *value);
}

void appendOne(std::string& out, const Conversion& conversion, const OTLogArgument& arg) {
    switch (conversion.letter) {
        case '@':
        case 's': {
            // A text is its own description: appended where it is, without a copy.
            if (auto text = arg.asText()) appendPadded(out, *text, conversion);
            else appendPadded(out, arg.description(), conversion);
            return;
        }
        case 'd':
        case 'i':
        case 'u':
        case 'x':
        case 'X':
        case 'o': appendInteger(out, conversion, arg); return;
        case 'f':
        case 'F':
        case 'e':
        case 'E':
        case 'g':
        case 'G':
        case 'a':
        case 'A': appendReal(out, conversion, arg); return;
        case 'c': {
            const auto value = arg.asSigned();
            const char c = value ? static_cast<char>(*value) : '?';
            appendPadded(out, std::string_view(&c, 1), conversion);
            return;
        }
        case 'p': {
            const auto value = arg.asSigned();
            if (!value) {
                appendPadded(out, arg.description(), conversion);
                return;
            }
            appendPrintf(out, "0x%llx", static_cast<unsigned long long>(*value));
            return;
        }
        default: return;
    }
}

// Character classes of the format, by table: every log line parses its format.
enum : unsigned char { kFlag = 1, kLengthLetter = 2, kConversionLetter = 4 };
constexpr std::array<unsigned char, 256> kClasses = [] {
    std::array<unsigned char, 256> classes{};
    for (const char c : std::string_view("-+ #0")) classes[static_cast<unsigned char>(c)] |= kFlag;
    for (const char c : std::string_view("hlqzjtL")) classes[static_cast<unsigned char>(c)] |= kLengthLetter;
    for (const char c : std::string_view("@sdiuxXofFeEgGaAcp"))
        classes[static_cast<unsigned char>(c)] |= kConversionLetter;
    return classes;
}();
bool is(char c, unsigned char kind) { return (kClasses[static_cast<unsigned char>(c)] & kind) != 0; }
}  // namespace

std::string OTLogFormatter::format(std::string_view format, std::span<const OTLogArgument> arguments) {
    std::string out;
    out.reserve(format.size() + 32);
    append(out, format, arguments);
    return out;
}

void OTLogFormatter::append(std::string& out, std::string_view format, std::span<const OTLogArgument> arguments) {
    static const OTLogArgument kMissing(nullptr);
    std::size_t next = 0;
    auto take = [&]() -> const OTLogArgument& { return next < arguments.size() ? arguments[next++] : kMissing; };
    auto takeNumber = [&]() -> int {
        const auto value = take().asSigned().value_or(0);
        return static_cast<int>(std::clamp<std::int64_t>(value, -kMaxWidth, kMaxWidth));
    };

    std::size_t i = 0;
    while (i < format.size()) {
        const std::size_t percent = format.find('%', i);
        if (percent == std::string_view::npos) {
            out.append(format.substr(i));
            break;
        }
        out.append(format.substr(i, percent - i));
        std::size_t j = percent + 1;
        if (j < format.size() && format[j] == '%') {
            out += '%';
            i = j + 1;
            continue;
        }
        Conversion conversion;
        while (j < format.size() && is(format[j], kFlag)) {
            if (conversion.flags.find(format[j]) == std::string::npos) conversion.flags += format[j];
            ++j;
        }
        // A number written in the format, or taken from the arguments for '*'.
        auto readNumber = [&]() -> std::optional<int> {
            if (j < format.size() && format[j] == '*') {
                ++j;
                return takeNumber();
            }
            if (j >= format.size() || format[j] < '0' || format[j] > '9') return std::nullopt;
            long value = 0;
            while (j < format.size() && format[j] >= '0' && format[j] <= '9') {
                value = std::min<long>(value * 10 + (format[j] - '0'), kMaxWidth);
                ++j;
            }
            return static_cast<int>(value);
        };
        if (auto width = readNumber()) {
            // A negative width from '*' means left alignment.
            if (*width < 0) conversion.flags += '-';
            conversion.width = std::abs(*width);
        }
        if (j < format.size() && format[j] == '.') {
            ++j;
            const auto precision = readNumber();
            conversion.precision = precision && *precision >= 0 ? *precision : (precision ? -1 : 0);
        }
        const std::size_t lengthStart = j;
        while (j < format.size() && is(format[j], kLengthLetter)) ++j;
        conversion.length = lengthOf(format.substr(lengthStart, j - lengthStart));
        if (j < format.size() && is(format[j], kConversionLetter)) {
            conversion.letter = format[j];
            appendOne(out, conversion, take());
            i = j + 1;
        } else {
            // Not a conversion we know: keep the text as written.
            const std::size_t end = std::min(j + 1, format.size());
            out.append(format.substr(percent, end - percent));
            i = end;
        }
    }
}

}  // namespace corvane
