#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace corvane {

// Whether an operand text is a number the way the platform's text scanner reads one: an integer,
// then (from where the integer stopped) a floating number, with blanks allowed around. "1.5" and
// ".5" are numbers; "1e5" and "12abc" are not. Anything but a text is not.
bool OTStringIsNumber(const nlohmann::json& text);

// One property predicate in the form the evaluator reads: data type and operator as enums, the
// operands converted once when the rule is built. A rule's function that its data type does not
// know becomes `Operator::Unknown`, so evaluation never looks at a text again.
struct OTRuleClause {
    using Date = std::chrono::system_clock::time_point;

    enum class DataType : std::uint8_t { Unknown, String, Number, Boolean, Datetime, StringArray };

    // The wire names, in the order the families list them; "RELATIVE_TIME_RANGE_CUURENT" is misspelt
    // on the wire.
    enum class Operator : std::uint8_t {
        Unknown,
        Eq,
        NotEq,
        Contain,
        NotContain,
        Gt,
        Gte,
        Lt,
        Lte,
        Range,
        True,
        False,
        AbsoluteTime,
        RelativeTimeRangeCurrent,
        RelativeTimeOfCurrent,
        NotNull,
        Null,
    };

    enum class TimeUnit : std::uint8_t { Unknown, Day, Hour, Minute, Second };
    enum class Direction : std::uint8_t { Unknown, Before, After, Within };

    // An operand date-time. An empty text reads as the instant of evaluation, so it stays "now".
    struct Instant {
        bool now = false;
        std::optional<Date> at;
        std::optional<Date> resolve(Date current) const { return now ? std::optional<Date>(current) : at; }
    };

    // The operand list, read in every way some operator of the data type needs it.
    struct Operands {
        std::size_t count = 0;  // 0 as well when the value is not a list
        // First operand as text: texts as they are, numbers as their decimal text.
        std::optional<std::string> text;
        // First two operands that pass OTStringIsNumber, as floats and as integers.
        std::array<std::optional<double>, 2> numbers;
        std::array<std::optional<std::int64_t>, 2> integers;
        // First two operands as date-time texts.
        std::array<Instant, 2> instants;
        // Second and third operands of RELATIVE_TIME_OF_CURRENT.
        TimeUnit unit = TimeUnit::Unknown;
        Direction direction = Direction::Unknown;
        // The first operand itself when it is a number or a non-empty text (list comparisons).
        nlohmann::json first;
    };

    std::optional<std::string> field;  // none when the rule's field is not a text
    DataType dataType = DataType::Unknown;
    Operator op = Operator::Unknown;
    Operands operands;

    static OTRuleClause parse(const nlohmann::json& field, const nlohmann::json& dataType,
                              const nlohmann::json& function, const nlohmann::json& value);
    static DataType dataTypeNamed(const nlohmann::json& name);
    // The operator `name` within `type`'s family; Unknown when that family has no such operator.
    static Operator operatorNamed(DataType type, const nlohmann::json& name);
    static Operands readOperands(const nlohmann::json& value);
};

}  // namespace corvane
