#include <gtest/gtest.h>

#include <cmath>

#include "core/OTSDKManager.h"
#include "foundation/OTFiles.h"
#include "model/OTEvent.h"
#include "model/OTTextAttribute.h"
#include "model/OTWindowData.h"
#include "model/OTWindowRule.h"
#include "server/OTNetwork.h"
#include "server/OTServerSession.h"
#include "services/OTDataArchiver.h"
#include "services/OTLogger.h"
#include "support/OTHeldEngine.h"

namespace corvane {

using nlohmann::json;

namespace {

// `levels` lists, one inside the next, built without recursion.
json deepJson(std::size_t levels) {
    json value = json::array();
    for (std::size_t i = 1; i < levels; ++i) {
        json outer = json::array();
        outer.push_back(std::move(value));
        value = std::move(outer);
    }
    return value;
}

// The engine with held requests, as user "alice" whose list request waits for its answer.
struct Hostile : OTHeldEngine {
    Hostile() {
        engine->onUserProfile(json{{"xwho", "alice"}});
        test.scheduler().runUntilIdle();
    }
};
}  // namespace

TEST(OTHostileInput, ACampaignAnswerNestedTooDeepIsMalformedAndTheListStays) {
    Hostile h;
    const std::string good =
        json{{"code", 0}, {"data", {{{"id", "1"}, {"type", 1}, {"event", {{"xwhat", "buy"}}}}}}}.dump();
    ASSERT_TRUE(h.transport->answer(OTHeldTransport::kInAppPath, "alice", good));
    h.test.scheduler().runUntilIdle();
    ASSERT_EQ(h.campaignIds(), std::vector<std::string>{"1"});
    const auto file = h.test.documents() / "OTInAppWindowData.plist";
    const auto saved = OTFiles::readFile(file);
    ASSERT_TRUE(saved.has_value());

    // 20 KB of brackets: ten thousand levels inside "data".
    const std::string deep =
        R"({"code":0,"data":[{"id":"2","type":1,"x":)" + std::string(10'000, '[') + std::string(10'000, ']') + "}]}";
    h.engine->getListData(true);
    h.test.scheduler().runUntilIdle();
    ASSERT_TRUE(h.transport->answer(OTHeldTransport::kInAppPath, "alice", deep));
    h.test.scheduler().runUntilIdle();
    EXPECT_EQ(h.campaignIds(), std::vector<std::string>{"1"});
    EXPECT_EQ(OTFiles::readFile(file), saved);
    const auto log = h.log();
    EXPECT_EQ(OTTestEnvironment::occurrences(log, "服务器应答嵌套超过 64 层，按格式错误处理"), 1u);
    // The answer is logged as the text it was, not as a ten-thousand-level description.
    EXPECT_LT(log.size(), 200'000u);

    // Exactly at the limit is still an answer.
    const std::string atLimit =
        R"({"code":0,"data":[{"id":"3","type":1,"x":)" + std::string(61, '[') + std::string(61, ']') + "}]}";
    h.engine->getListData(true);
    h.test.scheduler().runUntilIdle();
    ASSERT_TRUE(h.transport->answer(OTHeldTransport::kInAppPath, "alice", atLimit));
    h.test.scheduler().runUntilIdle();
    EXPECT_EQ(h.campaignIds(), std::vector<std::string>{"3"});
}

TEST(OTHostileInput, HostValuesNestedTooDeepAreIgnoredBeforeTheyAreCopied) {
    Hostile h;
    json event = {{"source", 0}, {"xwhat", "buy"}};
    event["xcontext"] = deepJson(20'000);
    h.engine->onEventDataReceived(event);
    h.engine->pushTrack(1, json{{"deep", deepJson(100)}}, "group.demo");
    h.engine->onUserProfile(json{{"xwho", "mallory"}, {"deep", deepJson(100)}});
    h.test.scheduler().runUntilIdle();
    event["xcontext"] = deepJson(60);
    h.engine->onEventDataReceived(event);
    const auto log = h.log();
    EXPECT_EQ(OTTestEnvironment::occurrences(log, "事件嵌套超过 64 层，已忽略"), 1u);
    EXPECT_EQ(OTTestEnvironment::occurrences(log, "推送消息嵌套超过 64 层，已忽略"), 1u);
    EXPECT_EQ(OTTestEnvironment::occurrences(log, "收到岚桥 event 回调"), 1u);
    // The profile was refused whole: the user did not change.
    EXPECT_EQ(h.log().find("mallory"), std::string::npos);
}

TEST(OTHostileInput, NumbersBeyondTheirRangeAreTreatedAsAbsent) {
    Hostile h;
    h.engine->onUserProfile(json{{"calibration_time", 2.5}});
    for (const json& value : {json(1e39), json(-1e39), json(std::nan("")), json("1e39"), json(HUGE_VAL)}) {
        h.engine->onUserProfile(json{{"calibration_time", value}});
    }
    EXPECT_EQ(h.engine->session().calibrationTime(), 2.5);
    EXPECT_EQ(OTTestEnvironment::occurrences(h.log(), "calibration_time 超出范围，已忽略"), 5u);

    // A delay and a font size beyond the float range are absent, and the campaign archives.
    auto campaign = std::make_shared<OTWindowData>();
    campaign->setModelWithDic(json::parse(R"({"id":"9","type":1,"style":1,"event":{"xwhat":"buy","delay":1e39},
        "title":{"text":"t","size":"1e39pd"},"dialogRule":[{"eventType":"click"},{"eventType":"close",
        "intervalType":"day","intervalValue":9223372036854775807,"count":1}]})"));
    EXPECT_EQ(campaign->event()->delay(), 0.0f);
    EXPECT_EQ(campaign->title()->size(), 0.0);
    const auto file = h.test.documents() / "campaign.plist";
    ASSERT_TRUE(OTDataArchiver::setData(std::vector<std::shared_ptr<const OTWindowData>>{campaign}, file));
    const auto back = OTDataArchiver::getObjectsForPath<OTWindowData>(file);
    ASSERT_TRUE(back.has_value());
    ASSERT_EQ(back->size(), 1u);
    EXPECT_EQ((*back)[0]->closeRule()->intervalValue(), INT64_MAX);
}

}  // namespace corvane
