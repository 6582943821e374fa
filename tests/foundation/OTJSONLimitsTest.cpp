#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "foundation/OTDescription.h"
#include "foundation/OTJSONLimits.h"
#include "foundation/OTJSONWriter.h"

namespace corvane {

using nlohmann::json;

namespace {
json nested(std::size_t levels, json inner = json::array()) {
    json value = std::move(inner);
    for (std::size_t i = 0; i < levels; ++i) {
        json outer = json::object();
        outer["k"] = std::move(value);
        value = std::move(outer);
    }
    return value;
}
}  // namespace

TEST(OTJSONLimits, DepthIsCountedTheSameInTextsAndValues) {
    EXPECT_TRUE(OTJSONLimits::withinDepth(json(5), 0));
    EXPECT_FALSE(OTJSONLimits::withinDepth(json::array(), 0));
    for (std::size_t levels : {std::size_t{0}, std::size_t{1}, std::size_t{63}, std::size_t{64}, std::size_t{65}}) {
        SCOPED_TRACE(levels);
        // `levels` objects around an empty list: depth levels + 1.
        const auto value = nested(levels);
        const bool within = levels + 1 <= OTJSONLimits::kMaxDepth;
        EXPECT_EQ(OTJSONLimits::withinDepth(value), within);
        EXPECT_EQ(OTJSONLimits::textWithinDepth(value.dump()), within);
        const auto parsed = OTJSONLimits::parse(value.dump());
        EXPECT_EQ(parsed.is_discarded(), !within);
        if (within) {
            EXPECT_EQ(parsed, value);
        }
    }
    // Brackets inside texts, escaped quotes included, are not nesting.
    const std::string text = R"({"a":"[[[[\"{{{{","b":["]]]]"]})";
    EXPECT_TRUE(OTJSONLimits::textWithinDepth(text, 2));
    EXPECT_FALSE(OTJSONLimits::textWithinDepth(text, 1));
    EXPECT_EQ(OTJSONLimits::parse(text)["a"], "[[[[\"{{{{");
    // A wide value is not a deep one; the deepest branch decides.
    json wide = json::array();
    for (int i = 0; i < 1000; ++i) wide.push_back(json::array({i}));
    EXPECT_TRUE(OTJSONLimits::withinDepth(wide, 2));
    wide.push_back(nested(2));
    EXPECT_FALSE(OTJSONLimits::withinDepth(wide, 3));
    EXPECT_TRUE(OTJSONLimits::withinDepth(wide, 4));
    // Malformed stays malformed; a million levels are refused without building them.
    EXPECT_TRUE(OTJSONLimits::parse("{\"a\":").is_discarded());
    EXPECT_TRUE(OTJSONLimits::parse(std::string(1'000'000, '[')).is_discarded());
    EXPECT_EQ(OTJSONLimits::parse("12"), json(12));
}

TEST(OTJSONLimits, DescriptionsAndWrittenTextStopAtTheLimit) {
    const auto deep = nested(5'000, json::array({1}));
    EXPECT_FALSE(OTJSONLimits::withinDepth(deep));
    const auto description = OTDescription::describe(deep);
    // 64 levels are shown (each with its indent); the rest is elided.
    EXPECT_LT(description.size(), 40'000u);
    EXPECT_NE(description.find("{...};"), std::string::npos);
    EXPECT_EQ(description.find("1"), std::string::npos);
    const auto shallow = OTDescription::describe(nested(2, json::array({1})));
    EXPECT_EQ(shallow.find("..."), std::string::npos);
    EXPECT_FALSE(OTJSONWriter::prettyString(deep).has_value());
    EXPECT_FALSE(OTJSONWriter::prettyString(nested(64)).has_value());
    EXPECT_TRUE(OTJSONWriter::prettyString(nested(63)).has_value());
}

}  // namespace corvane
