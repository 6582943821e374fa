#include <gtest/gtest.h>

#include "model/OTRuleClause.h"
#include "model/OTRuleEvaluator.h"
#include "services/OTUtils.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using namespace std::chrono_literals;
using nlohmann::json;
using Operator = OTRuleClause::Operator;
using DataType = OTRuleClause::DataType;

namespace {
OTRuleClause clause(const char* dataType, const char* function, const json& value) {
    return OTRuleClause::parse("p", dataType, function, value);
}

}  // namespace

TEST(OTRuleClause, OperatorsBelongToTheirDataType) {
    OTTestEnvironment test;
    struct Case {
        const char* dataType;
        const char* function;
        DataType type;
        Operator op;
    };
    const Case cases[] = {
        {"string", "EQ", DataType::String, Operator::Eq},
        {"string", "TRUE", DataType::String, Operator::Unknown},
        {"string", "eq", DataType::String, Operator::Unknown},  // names are exact
        {"string", "GT", DataType::String, Operator::Unknown},
        {"number", "RANGE", DataType::Number, Operator::Range},
        {"number", "CONTAIN", DataType::Number, Operator::Unknown},
        {"boolean", "FALSE", DataType::Boolean, Operator::False},
        {"boolean", "EQ", DataType::Boolean, Operator::Unknown},
        {"datetime", "RELATIVE_TIME_RANGE_CUURENT", DataType::Datetime, Operator::RelativeTimeRangeCurrent},
        {"datetime", "RELATIVE_TIME_RANGE_CURRENT", DataType::Datetime, Operator::Unknown},
        {"datetime", "NULL", DataType::Datetime, Operator::Null},
        {"array<string>", "NOT_CONTAIN", DataType::StringArray, Operator::NotContain},
        {"array<string>", "NOT_EQ", DataType::StringArray, Operator::Unknown},
        {"array", "EQ", DataType::Unknown, Operator::Unknown},
        {"String", "EQ", DataType::Unknown, Operator::Unknown},
    };
    for (const auto& c : cases) {
        const auto parsed = clause(c.dataType, c.function, json::array());
        EXPECT_EQ(parsed.dataType, c.type) << c.dataType << " " << c.function;
        EXPECT_EQ(parsed.op, c.op) << c.dataType << " " << c.function;
    }
    const auto wrongKinds = OTRuleClause::parse(7, json::array(), nullptr, "x");
    EXPECT_FALSE(wrongKinds.field.has_value());
    EXPECT_EQ(wrongKinds.dataType, DataType::Unknown);
    EXPECT_EQ(wrongKinds.op, Operator::Unknown);
    EXPECT_EQ(wrongKinds.operands.count, 0u);
}

TEST(OTRuleClause, OperandsAreConvertedOnce) {
    OTTestEnvironment test;
    const auto numbers = OTRuleClause::readOperands({" 7.9 ", "1e5", "x"});
    EXPECT_EQ(numbers.count, 3u);
    EXPECT_EQ(numbers.text, " 7.9 ");
    EXPECT_EQ(numbers.numbers[0], 7.9);
    EXPECT_EQ(numbers.integers[0], 7);
    EXPECT_FALSE(numbers.numbers[1].has_value());  // 1e5 is no number text
    EXPECT_EQ(numbers.unit, OTRuleClause::TimeUnit::Unknown);
    EXPECT_EQ(numbers.direction, OTRuleClause::Direction::Unknown);

    const auto relative = OTRuleClause::readOperands({"2", "hour", "within"});
    EXPECT_EQ(relative.unit, OTRuleClause::TimeUnit::Hour);
    EXPECT_EQ(relative.direction, OTRuleClause::Direction::Within);

    const auto dates = OTRuleClause::readOperands({"2024-05-01 10:00:00", "", "2024-05-01"});
    EXPECT_EQ(dates.instants[0].at, OTTestEnvironment::date("2024-05-01 10:00:00"));
    EXPECT_TRUE(dates.instants[1].now);
    EXPECT_EQ(dates.instants[1].resolve(OTTestEnvironment::date("2030-01-01 00:00:00")),
              OTTestEnvironment::date("2030-01-01 00:00:00"));

    EXPECT_EQ(OTRuleClause::readOperands({12}).text, "12");
    EXPECT_EQ(OTRuleClause::readOperands({true}).first, true);
    EXPECT_TRUE(OTRuleClause::readOperands({""}).first.is_null());  // an empty text is malformed for lists
    EXPECT_TRUE(OTRuleClause::readOperands({json::object()}).first.is_null());
    EXPECT_FALSE(OTRuleClause::readOperands({nullptr}).text.has_value());
    EXPECT_EQ(OTRuleClause::readOperands("5").count, 0u);
}

TEST(OTRuleEvaluator, NowIsAnArgument) {
    OTTestEnvironment test;  // the clock says 2024-05-01 08:00:00 local; the evaluator never asks it
    const json yesterday = "2024-04-30 12:00:00";
    const auto before = clause("datetime", "RELATIVE_TIME_OF_CURRENT", {"1", "day", "before"});
    EXPECT_TRUE(OTRuleEvaluator::evaluate(before, &yesterday, OTTestEnvironment::date("2024-05-01 08:00:00")));
    EXPECT_FALSE(OTRuleEvaluator::evaluate(before, &yesterday, OTTestEnvironment::date("2024-05-02 08:00:00")));
    EXPECT_TRUE(OTRuleEvaluator::evaluate(before, &yesterday, OTTestEnvironment::date("2024-05-01 23:59:59")));

    // An empty operand is the instant of evaluation, not the instant of parsing.
    const auto untilNow = clause("datetime", "ABSOLUTE_TIME", {"2024-04-01 00:00:00", ""});
    const json may = "2024-05-10 00:00:00";
    EXPECT_FALSE(OTRuleEvaluator::evaluate(untilNow, &may, OTTestEnvironment::date("2024-05-01 08:00:00")));
    EXPECT_TRUE(OTRuleEvaluator::evaluate(untilNow, &may, OTTestEnvironment::date("2024-05-11 08:00:00")));
    // An absent property reads as now for the null tests only.
    EXPECT_FALSE(OTRuleEvaluator::evaluate(untilNow, nullptr, OTTestEnvironment::date("2024-05-11 08:00:00")));
    EXPECT_TRUE(OTRuleEvaluator::evaluate(clause("datetime", "NOT_NULL", json::array()), nullptr, {}));
}

TEST(OTRuleEvaluator, HugeAmountsStayWithinTheCalendar) {
    OTTestEnvironment test;
    const auto now = OTTestEnvironment::date("2024-05-01 08:00:00");
    const json old = "1950-01-01 00:00:00";
    const json recent = "2024-04-30 08:00:00";
    const auto wide = clause("datetime", "RELATIVE_TIME_RANGE_CUURENT", {"9223372036854775807", "0"});
    EXPECT_TRUE(OTRuleEvaluator::evaluate(wide, &old, now));
    EXPECT_TRUE(OTRuleEvaluator::evaluate(wide, &recent, now));
    const auto negative = clause("datetime", "RELATIVE_TIME_RANGE_CUURENT", {"0", "-9223372036854775808"});
    EXPECT_FALSE(OTRuleEvaluator::evaluate(negative, &recent, now));
    // The hour, minute and second tests read the clock face only, so a whole number of days away
    // still matches them; the sanitizer runs check that no product overflows.
    for (const char* amount : {"9223372036854775807", "-9223372036854775808", "99999999999999999999"}) {
        const auto far = clause("datetime", "RELATIVE_TIME_OF_CURRENT", {amount, "day", "after"});
        EXPECT_FALSE(OTRuleEvaluator::evaluate(far, &recent, now)) << amount;
        for (const char* unit : {"hour", "minute", "second"}) {
            (void)OTRuleEvaluator::evaluate(clause("datetime", "RELATIVE_TIME_OF_CURRENT", {amount, unit, "before"}),
                                            &recent, now);
        }
    }
}

}  // namespace corvane
