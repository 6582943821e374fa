#include <gtest/gtest.h>

#include "model/OTEvent.h"
#include "model/OTEventRule.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using namespace std::chrono_literals;
using nlohmann::json;

namespace {
// A marker for "the event does not have the property".
const json kAbsent = json::binary({});

struct Case {
    const char* dataType;
    const char* function;
    json value;
    json property;
    bool expected;
};

bool evaluate(const char* dataType, const char* function, const json& value, const json& property) {
    OTEventRule rule;
    rule.setModelWithDic(json{{"field", "p"}, {"dataType", dataType}, {"function", function}, {"value", value}});
    OTEvent incoming;
    json context = json::object();
    if (property != kAbsent) context["p"] = property;
    incoming.setModelWithDic(json{{"xwhat", "e"}, {"xcontext", context}});
    return rule.compareRuleWithEvent(&incoming);
}

void run(const std::vector<Case>& cases) {
    for (const auto& c : cases) {
        EXPECT_EQ(evaluate(c.dataType, c.function, c.value, c.property), c.expected)
            << c.dataType << " " << c.function << " value=" << c.value.dump()
            << " property=" << (c.property == kAbsent ? std::string("<absent>") : c.property.dump());
    }
}

const json kEmpty = json::array();
}  // namespace

TEST(OTEventRule, StringIsNumberScansLikeThePlatform) {
    for (const char* yes : {"12", "-3", " -3 ", "+7", "1.5", ".5", "0.25", " 1.5 \n", "1.5e3", "1 .5"}) {
        EXPECT_TRUE(OTStringIsNumber(yes)) << yes;
    }
    for (const char* no : {"", " ", "12abc", "1.5.3", "1e5", "abc", "5.", ".", "-", "- 5", "0x10", "inf", "nan"}) {
        EXPECT_FALSE(OTStringIsNumber(no)) << no;
    }
    EXPECT_FALSE(OTStringIsNumber(json(10)));
    EXPECT_FALSE(OTStringIsNumber(json(nullptr)));
}

TEST(OTEventRule, Texts) {
    OTTestEnvironment test;
    run({
        {"string", "EQ", {"HOME"}, "home", true},
        {"string", "EQ", {"home"}, "homes", false},
        {"string", "EQ", {"5"}, 5, true},  // a number property reads as its decimal text
        {"string", "EQ", {"1.5"}, 1.5, true},
        {"string", "EQ", {"1"}, true, true},
        {"string", "EQ", {"home"}, "", false},
        {"string", "EQ", kEmpty, "home", false},
        {"string", "EQ", {""}, "home", false},
        {"string", "EQ", {nullptr}, "home", false},
        {"string", "EQ", {"home"}, kAbsent, false},
        {"string", "EQ", {"home"}, nullptr, false},
        {"string", "EQ", {"home"}, json::array({"home"}), false},
        {"string", "EQ", "home", "home", false},  // operands not in a list
        {"string", "NOT_EQ", {"HOME"}, "home", false},
        {"string", "NOT_EQ", {"a"}, "b", true},
        {"string", "NOT_EQ", kEmpty, "home", true},
        {"string", "NOT_EQ", {"a"}, json::object(), true},
        {"string", "NOT_EQ", {"a"}, kAbsent, false},
        {"string", "NOT_EQ", {"a"}, nullptr, false},
        {"string", "CONTAIN", {"AB"}, "xaby", true},
        {"string", "CONTAIN", {"abc"}, "xaby", false},
        {"string", "CONTAIN", kEmpty, "xaby", false},
        {"string", "NOT_CONTAIN", {"AB"}, "xaby", false},
        {"string", "NOT_CONTAIN", {"zz"}, "xaby", true},
        {"string", "NOT_CONTAIN", {""}, "xaby", true},
        {"string", "NOT_NULL", kEmpty, "x", true},
        {"string", "NOT_NULL", kEmpty, "", false},
        {"string", "NOT_NULL", kEmpty, kAbsent, false},
        {"string", "NULL", kEmpty, "", true},
        {"string", "NULL", kEmpty, kAbsent, true},
        {"string", "NULL", kEmpty, nullptr, true},
        {"string", "NULL", kEmpty, "x", false},
        {"string", "eq", {"home"}, "home", false},  // operator names are exact
        {"string", "GT", {"a"}, "b", false},
    });
}

TEST(OTEventRule, Numbers) {
    OTTestEnvironment test;
    run({
        {"number", "GT", {"10"}, 10.5, true},
        {"number", "GT", {"10"}, 10, false},
        {"number", "GTE", {"10"}, 10, true},
        {"number", "LT", {"10"}, 9.99, true},
        {"number", "LT", {"10"}, 10, false},
        {"number", "LTE", {"10"}, 10, true},
        {"number", "EQ", {" 10 "}, 10.0, true},
        {"number", "EQ", {"10"}, 11, false},
        {"number", "EQ", {"1"}, true, true},
        {"number", "NOT_EQ", {"10"}, 11, true},
        {"number", "NOT_EQ", {"10"}, 10, false},
        {"number", "RANGE", {"1", "5"}, 1, true},
        {"number", "RANGE", {"1", "5"}, 5, true},
        {"number", "RANGE", {"1", "5"}, 0.999, false},
        {"number", "RANGE", {"1", "5"}, 5.001, false},
        {"number", "RANGE", {"1"}, 1, false},
        {"number", "RANGE", {"1", "x"}, 1, false},
        {"number", "GT", {"1e5"}, 1e6, false},  // not a number text
        {"number", "NOT_EQ", {"1e5"}, 1e5, true},
        {"number", "GT", {10}, 11, false},  // operands are texts
        {"number", "GT", kEmpty, 11, false},
        {"number", "NOT_EQ", kEmpty, 11, true},
        {"number", "GT", {"10"}, "11", false},  // a text property is not a number
        {"number", "NOT_EQ", {"10"}, "11", true},
        {"number", "GT", {"10"}, kAbsent, false},
        {"number", "NOT_EQ", {"10"}, kAbsent, false},
        {"number", "NOT_EQ", {"10"}, nullptr, false},
        {"number", "NOT_NULL", kEmpty, nullptr, true},  // null counts as present
        {"number", "NOT_NULL", kEmpty, kAbsent, false},
        {"number", "NULL", kEmpty, kAbsent, true},
        {"number", "NULL", kEmpty, nullptr, false},
        {"number", "CONTAIN", {"1"}, 1, false},
    });
}

TEST(OTEventRule, BooleansWithConstantNullTests) {
    OTTestEnvironment test;
    run({
        {"boolean", "TRUE", kEmpty, true, true},
        {"boolean", "TRUE", kEmpty, false, false},
        {"boolean", "FALSE", kEmpty, false, true},
        {"boolean", "TRUE", kEmpty, 2, true},
        {"boolean", "FALSE", kEmpty, 0, true},
        {"boolean", "TRUE", kEmpty, "Yes", true},
        {"boolean", "TRUE", kEmpty, " t", true},
        {"boolean", "TRUE", kEmpty, "007", true},
        {"boolean", "TRUE", kEmpty, "no", false},
        {"boolean", "FALSE", kEmpty, "0", true},
        {"boolean", "TRUE", kEmpty, kAbsent, false},
        {"boolean", "FALSE", kEmpty, kAbsent, false},
        {"boolean", "FALSE", kEmpty, nullptr, false},
        {"boolean", "NOT_NULL", kEmpty, kAbsent, true},
        {"boolean", "NULL", kEmpty, kAbsent, false},
        {"boolean", "NULL", kEmpty, nullptr, false},
        {"boolean", "EQ", {"true"}, true, false},
    });
}

TEST(OTEventRule, DateTimesOnTheVirtualClock) {
    OTTestEnvironment test;  // now: 2024-05-01 08:00:00 local
    run({
        {"datetime", "ABSOLUTE_TIME", {"2024-05-01 00:00:00", "2024-05-01 23:59:59"}, "2024-05-01 00:00:00", true},
        {"datetime", "ABSOLUTE_TIME", {"2024-05-01 00:00:00", "2024-05-01 23:59:59"}, "2024-05-01 23:59:59", true},
        {"datetime", "ABSOLUTE_TIME", {"2024-05-01 00:00:00", "2024-05-01 23:59:59"}, "2024-05-02 00:00:00", false},
        {"datetime", "ABSOLUTE_TIME", {"2024-05-01 00:00:00"}, "2024-05-01 10:00:00", false},
        {"datetime", "ABSOLUTE_TIME", {"2024-05-01", "2024-05-02 00:00:00"}, "2024-05-01 10:00:00", false},
        {"datetime", "RELATIVE_TIME_RANGE_CUURENT", {"7", "0"}, "2024-04-24 08:00:00", true},
        {"datetime", "RELATIVE_TIME_RANGE_CUURENT", {"7", "0"}, "2024-04-24 07:59:59", false},
        {"datetime", "RELATIVE_TIME_RANGE_CUURENT", {"7", "0"}, "2024-05-01 08:00:00", true},
        {"datetime", "RELATIVE_TIME_RANGE_CUURENT", {"7", "0"}, "2024-05-01 08:00:01", false},
        {"datetime", "RELATIVE_TIME_RANGE_CUURENT", {"0", "7"}, "2024-04-28 08:00:00", false},
        {"datetime", "RELATIVE_TIME_RANGE_CUURENT", {"7.9", "1"}, "2024-04-24 08:00:00", true},  // read as integers
        {"datetime", "RELATIVE_TIME_RANGE_CUURENT", {"7", "x"}, "2024-04-28 08:00:00", false},
        {"datetime", "RELATIVE_TIME_RANGE_CURRENT", {"7", "0"}, "2024-04-28 08:00:00", false},
        {"datetime", "RELATIVE_TIME_OF_CURRENT", {"1", "day", "before"}, "2024-04-30 00:00:00", true},
        {"datetime", "RELATIVE_TIME_OF_CURRENT", {"1", "day", "before"}, "2024-04-30 23:59:59", true},
        {"datetime", "RELATIVE_TIME_OF_CURRENT", {"1", "day", "before"}, "2024-05-01 00:00:00", false},
        {"datetime", "RELATIVE_TIME_OF_CURRENT", {"1", "day", "after"}, "2024-05-02 12:00:00", true},
        {"datetime", "RELATIVE_TIME_OF_CURRENT", {"2", "hour", "before"}, "2024-05-01 06:30:00", true},
        {"datetime", "RELATIVE_TIME_OF_CURRENT", {"2", "hour", "before"}, "2023-01-09 06:30:00", true},  // hour only
        {"datetime", "RELATIVE_TIME_OF_CURRENT", {"5", "minute", "after"}, "2024-05-01 09:05:00", true},
        {"datetime", "RELATIVE_TIME_OF_CURRENT", {"3", "second", "before"}, "2024-05-01 07:59:57", true},
        {"datetime", "RELATIVE_TIME_OF_CURRENT", {"1", "day", "within"}, "2024-05-01 08:00:00", false},
        {"datetime", "RELATIVE_TIME_OF_CURRENT", {"1", "week", "before"}, "2024-04-24 08:00:00", false},
        {"datetime", "RELATIVE_TIME_OF_CURRENT", {"1", "day"}, "2024-04-30 08:00:00", false},
        {"datetime", "RELATIVE_TIME_OF_CURRENT", {"one", "day", "before"}, "2024-04-30 08:00:00", false},
        {"datetime", "NOT_NULL", kEmpty, "2024-05-01 08:00:00", true},
        {"datetime", "NULL", kEmpty, "2020-01-01", true},  // no time part: does not parse
        {"datetime", "NOT_NULL", kEmpty, "2020-01-01", false},
        {"datetime", "NULL", kEmpty, 20200101, true},
        // An absent or empty text parses as now.
        {"datetime", "NOT_NULL", kEmpty, kAbsent, true},
        {"datetime", "NOT_NULL", kEmpty, "", true},
        {"datetime", "ABSOLUTE_TIME", {"2024-05-01 00:00:00", "2024-05-01 23:59:59"}, kAbsent, false},
        {"datetime", "ABSOLUTE_TIME", {"2024-05-01 00:00:00", "2024-05-01 23:59:59"}, "", true},
    });
    // "Yesterday" moves with the clock.
    test.clock().advance(16h);  // 2024-05-02 00:00:00 local
    EXPECT_TRUE(evaluate("datetime", "RELATIVE_TIME_OF_CURRENT", {"1", "day", "before"}, "2024-05-01 00:00:00"));
    EXPECT_FALSE(evaluate("datetime", "RELATIVE_TIME_OF_CURRENT", {"1", "day", "before"}, "2024-04-30 23:59:59"));
}

TEST(OTEventRule, ListsOfTexts) {
    OTTestEnvironment test;
    run({
        {"array<string>", "CONTAIN", {"A"}, {"x", "a"}, true},
        {"array<string>", "CONTAIN", {"A"}, kEmpty, false},
        {"array<string>", "NOT_CONTAIN", {"A"}, kEmpty, true},
        {"array<string>", "NOT_CONTAIN", {"A"}, {"x", "a"}, false},
        {"array<string>", "NOT_CONTAIN", {"b"}, {"x", "a"}, true},
        {"array<string>", "CONTAIN", {5}, {3, 5}, true},
        {"array<string>", "CONTAIN", {5}, {"x", "5"}, true},
        {"array<string>", "CONTAIN", {"5"}, {3, 5}, true},
        {"array<string>", "CONTAIN", {"5.0"}, {3, 5}, false},  // decimal texts, exactly
        {"array<string>", "CONTAIN", {""}, {"", "a"}, false},
        {"array<string>", "NOT_CONTAIN", {""}, {"a"}, true},
        {"array<string>", "CONTAIN", {nullptr}, {"a"}, false},
        {"array<string>", "CONTAIN", {"a"}, {nullptr, "a"}, false},  // the first element decides the kind
        {"array<string>", "CONTAIN", kEmpty, {"a"}, false},
        {"array<string>", "CONTAIN", {"a"}, "a", false},
        {"array<string>", "EQ", {"A", "z"}, {"a", "y"}, true},  // first elements only
        {"array<string>", "EQ", {"A"}, {"b", "a"}, false},
        {"array<string>", "EQ", {2}, {2.0}, true},
        {"array<string>", "EQ", {"2"}, {2}, false},
        {"array<string>", "EQ", {""}, {""}, false},
        {"array<string>", "NOT_EQ", {"a"}, {"b"}, false},  // not an operator of this family
        {"array<string>", "NOT_NULL", kEmpty, {"a"}, true},
        {"array<string>", "NOT_NULL", kEmpty, kEmpty, false},
        {"array<string>", "NULL", kEmpty, kEmpty, true},
        {"array<string>", "NULL", kEmpty, kAbsent, true},
        {"array<string>", "NULL", kEmpty, "a", true},
        {"array<string>", "CONTAIN", {"a"}, kAbsent, false},
        {"array<string>", "NOT_CONTAIN", {"a"}, kAbsent, false},
    });
}

TEST(OTEventRule, UnknownTypesFieldsAndEventsNeverMatch) {
    OTTestEnvironment test;
    EXPECT_FALSE(evaluate("text", "EQ", {"a"}, "a"));
    EXPECT_FALSE(evaluate("String", "EQ", {"a"}, "a"));
    OTEventRule rule;
    rule.setModelWithDic(json{{"field", nullptr}, {"dataType", "string"}, {"function", "NULL"}, {"value", nullptr}});
    EXPECT_TRUE(rule.field().is_null());
    OTEvent incoming;
    incoming.setModelWithDic(json{{"xwhat", "e"}, {"xcontext", {{"p", "x"}}}});
    EXPECT_TRUE(rule.compareRuleWithEvent(&incoming));  // a null field finds no property
    EXPECT_FALSE(rule.compareRuleWithEvent(nullptr));
    OTEvent noContext;
    noContext.setModelWithDic(json{{"xwhat", "e"}});
    EXPECT_FALSE(rule.compareRuleWithEvent(&noContext));
    OTEventRule empty;
    empty.setModelWithDic("not a dictionary");
    EXPECT_EQ(empty.field(), "");
    EXPECT_EQ(empty.value(), json::array());
    EXPECT_FALSE(empty.compareRuleWithEvent(&incoming));
}

}  // namespace corvane
