#include <gtest/gtest.h>

#include "model/OTRuleClause.h"
#include "model/OTRuleEvaluator.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using nlohmann::json;

namespace {
OTRuleClause clause(const char* dataType, const char* function, const json& value) {
    return OTRuleClause::parse("p", dataType, function, value);
}
}  // namespace

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
