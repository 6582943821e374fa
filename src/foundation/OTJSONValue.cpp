#include "foundation/OTJSONValue.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "foundation/OTText.h"

namespace corvane {

std::optional<std::string> OTJSONValue::text(const nlohmann::json& value) {
    if (!value.is_string()) return std::nullopt;
    return value.get<std::string>();
}

std::optional<std::string> OTJSONValue::textAt(const nlohmann::json& dictionary, const char* key) {
    if (!dictionary.is_object()) return std::nullopt;
    const auto it = dictionary.find(key);
    return it == dictionary.end() ? std::nullopt : text(*it);
}

std::int64_t OTJSONValue::integerAt(const nlohmann::json& dictionary, const char* key) {
    if (!dictionary.is_object()) return 0;
    const auto it = dictionary.find(key);
    return it == dictionary.end() ? 0 : integerValue(*it).value_or(0);
}

std::optional<double> OTJSONValue::number(const nlohmann::json& value) {
    if (value.is_boolean()) return value.get<bool>() ? 1.0 : 0.0;
    if (value.is_number()) return value.get<double>();
    return std::nullopt;
}

std::optional<double> OTJSONValue::doubleValue(const nlohmann::json& value) {
    if (auto n = number(value)) return n;
    if (value.is_string()) return doubleValueOfText(value.get_ref<const std::string&>());
    return std::nullopt;
}

std::optional<std::int64_t> OTJSONValue::integerValue(const nlohmann::json& value) {
    if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
    if (value.is_number_integer()) return value.get<std::int64_t>();
    if (value.is_number_unsigned()) return static_cast<std::int64_t>(value.get<std::uint64_t>());
    if (value.is_number_float()) {
        const double d = value.get<double>();
        return std::isfinite(d) && std::fabs(d) < 9.2e18 ? static_cast<std::int64_t>(d) : 0;
    }
    if (value.is_string()) return OTText::integerValue(value.get_ref<const std::string&>());
    return std::nullopt;
}

double OTJSONValue::doubleValueOfText(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || (text[i] >= '\t' && text[i] <= '\r'))) ++i;
    const std::size_t start = i;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
    const std::size_t digitsStart = i;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9') ++i;
    if (i < text.size() && text[i] == '.') {
        ++i;
        while (i < text.size() && text[i] >= '0' && text[i] <= '9') ++i;
    }
    if (i == digitsStart || (i == digitsStart + 1 && text[digitsStart] == '.')) return 0;
    std::size_t end = i;
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        std::size_t j = i + 1;
        if (j < text.size() && (text[j] == '+' || text[j] == '-')) ++j;
        const std::size_t expDigits = j;
        while (j < text.size() && text[j] >= '0' && text[j] <= '9') ++j;
        if (j > expDigits) end = j;
    }
    std::string_view number = text.substr(start, end - start);
    if (!number.empty() && number.front() == '+') number.remove_prefix(1);
    double value = 0;
    const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
    if (result.ec == std::errc::result_out_of_range) return number.front() == '-' ? -HUGE_VAL : HUGE_VAL;
    return value;
}

std::optional<float> OTJSONValue::floatValue(double value) {
    if (!std::isfinite(value) || std::fabs(value) > static_cast<double>(std::numeric_limits<float>::max())) {
        return std::nullopt;
    }
    return static_cast<float>(value);
}

std::chrono::nanoseconds OTJSONValue::durationOfSeconds(double seconds) {
    constexpr double kMaxSeconds = 100.0 * 366 * 24 * 3600;
    if (!(seconds > 0)) return std::chrono::nanoseconds(0);
    return std::chrono::nanoseconds(static_cast<std::int64_t>(std::min(seconds, kMaxSeconds) * 1e9));
}

bool OTJSONValue::numbersEqual(const nlohmann::json& a, const nlohmann::json& b) {
    const auto x = number(a);
    const auto y = number(b);
    if (!x || !y) return false;
    const bool integral = (a.is_number_integer() || a.is_number_unsigned() || a.is_boolean()) &&
                          (b.is_number_integer() || b.is_number_unsigned() || b.is_boolean());
    if (!integral) return *x == *y;
    // Unsigned values beyond the signed range only equal each other.
    auto huge = [](const nlohmann::json& v) {
        return v.is_number_unsigned() && v.get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX);
    };
    if (huge(a) || huge(b)) return huge(a) && huge(b) && a.get<std::uint64_t>() == b.get<std::uint64_t>();
    return *integerValue(a) == *integerValue(b);
}

}  // namespace corvane
