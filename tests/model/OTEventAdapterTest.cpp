#include <gtest/gtest.h>

#include "foundation/OTFiles.h"
#include "model/OTSAEventAdapter.h"
#include "services/OTLogger.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using nlohmann::json;

TEST(OTEventAdapter, SensorsAnalyticsEventsTakeTheEventRecordShape) {
    OTTestEnvironment test;
    auto adapter = OTSAEventAdapter::adapter();
    const auto start =
        adapter->adaptEvent(json::parse(R"({"type":"track","event":"$AppStart","distinct_id":"u1","time":1714521600000,
                        "properties":{"$resume_from_background":true,"$screen_name":"HomeVC","$url":"old","x":1}})"),
                            1);
    ASSERT_TRUE(start.has_value());
    EXPECT_EQ(*start, json::parse(R"({"appid":"","xwho":"u1","xwhen":1714521600000,"xwhat":"$startup",
                                      "xcontext":{"$is_from_background":true,"$url":"HomeVC","x":1}})"));
    auto name = [&](const char* type, const char* event) {
        return adapter->adaptEvent(json{{"type", type}, {"event", event}}, 1)->value("xwhat", json("<unset>"));
    };
    EXPECT_EQ(name("track", "$AppViewScreen"), "$pageview");
    EXPECT_EQ(name("track", "$AppClick"), "$app_click");
    EXPECT_EQ(name("track", "buy"), "buy");
    EXPECT_EQ(name("profile_set", "anything"), "$profile_set");
    EXPECT_EQ(name("item_set", "buy"), "<unset>");
    EXPECT_EQ(adapter->adaptEvent(json{{"type", "track"}}, 1)->at("xcontext"), json::object());

    // The maker's own events pass through; unknown sources give nothing, silently.
    const json own = {{"xwhat", "buy"}};
    EXPECT_EQ(adapter->adaptEvent(own, 0), own);
    EXPECT_FALSE(adapter->adaptEvent(own, 2).has_value());
    EXPECT_FALSE(adapter->adaptEvent(json::array({1}), 1).has_value());
    EXPECT_FALSE(OTEventAdapter().adaptEvent(nullptr, 0).has_value());
    // The base adapter renames nothing.
    EXPECT_EQ(OTEventAdapter()
                  .adaptEvent(json{{"type", "track"}, {"properties", {{"$screen_name", "A"}}}}, 1)
                  ->at("xcontext"),
              (json{{"$screen_name", "A"}}));
    const auto log = test.log();
    EXPECT_NE(log.find("事件适配失败，sourceEvent : (\n    1\n)，sourceTye : 1\n"), std::string::npos);
    EXPECT_NE(log.find("事件适配失败，sourceEvent : <null>，sourceTye : 0\n"), std::string::npos);
    EXPECT_EQ(log.find("sourceTye : 2"), std::string::npos);
}

}  // namespace corvane
