#pragma once

#include <chrono>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

// Lenient readings of JSON values, the way the platform reads a value whose kind was not checked:
// numbers and booleans read as numbers, texts by their leading number, anything else as nothing.
class OTJSONValue {
public:
    // A text as it stands; nothing for any other kind.
    static std::optional<std::string> text(const nlohmann::json& value);
    // The text under `key` of a dictionary; nothing when absent or not a text.
    static std::optional<std::string> textAt(const nlohmann::json& dictionary, const char* key);
    // The integer reading under `key` of a dictionary; 0 when absent or unreadable.
    static std::int64_t integerAt(const nlohmann::json& dictionary, const char* key);
    // Numbers and booleans; nothing for texts and other kinds.
    static std::optional<double> number(const nlohmann::json& value);
    static std::optional<double> doubleValue(const nlohmann::json& value);
    static std::optional<std::int64_t> integerValue(const nlohmann::json& value);
    // The leading decimal number of a text (blanks skipped, exponent allowed); 0 when there is none.
    static double doubleValueOfText(std::string_view text);
    // A number as a 32-bit float; nothing when it is not finite or beyond the float range.
    static std::optional<float> floatValue(double value);
    // A span of seconds as a duration: not a number or negative is none, and the span is held
    // within 100 years, so that adding it to a time can never overflow.
    static std::chrono::nanoseconds durationOfSeconds(double seconds);
    // Two numbers (booleans included) are numerically equal; integers are compared exactly.
    static bool numbersEqual(const nlohmann::json& a, const nlohmann::json& b);
};

}  // namespace corvane
