#include <gtest/gtest.h>

#include "core/OTCampaignStore.h"
#include "core/OTDialogFlow.h"
#include "core/OTDisplayEligibility.h"
#include "core/OTSDKManager.h"
#include "model/OTWindowData.h"
#include "model/OTWindowRecordTree.h"
#include "platform/deterministic/OTSimulatedFileSystem.h"
#include "services/OTUserConfig.h"
#include "support/OTCampaignLoader.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using nlohmann::json;
using namespace std::chrono_literals;

namespace {
struct Eligibility {
    OTTestEnvironment test;  // now: 2024-05-01 08:00:00 local
    std::shared_ptr<OTSDKManager> engine = OTSDKManager::sharedManager()->managerWithGroupIdentifier("group.demo");
    std::shared_ptr<OTUserConfig> settings =
        OTUserConfig::defaultConfig()->configWithGroupIdentifier(std::string("group.demo"));

    OTCampaignLoader::Loaded campaign(const json& object) { return OTCampaignLoader::record(*engine, object); }
};

// A refusal as its reason and deciding values, or "eligible".
std::string why(const std::optional<OTDisplayEligibility::Refusal>& refusal) {
    return refusal ? refusal->describe().dump() : "eligible";
}

json withRules(json click, json close) {
    return {{"id", "5"}, {"count", 100}, {"dialogRule", {std::move(click), std::move(close)}}};
}
}  // namespace

TEST(OTSDKManagerEligibility, DailyCapAndDateWindowByCalendarDay) {
    Eligibility e;
    auto [data, node] = e.campaign({{"id", "1"}, {"count", 100}});
    e.settings->setMaxDailyPopWindowCount(3);
    e.settings->setDailyPopWindowCount(3);
    EXPECT_EQ(why(e.engine->eligibility().refusalByOldRule(data)), R"({"count":3,"max":3,"reason":"dailyCap"})");
    e.settings->setDailyPopWindowCount(2);

    auto check = [&](const char* start, const char* end) {
        auto [d, n] = e.campaign({{"id", "2"}, {"count", 100}, {"startTime", start}, {"endTime", end}});
        n->setActivated(false);
        return why(e.engine->eligibility().refusalByNewRule(d));  // no rules: judged as a first showing
    };
    EXPECT_EQ(check("2024-05-01 23:00:00", "2024-05-01 00:00:01"), "eligible");  // times of day do not count
    EXPECT_EQ(
        check("2024-05-02 00:00:00", "2024-06-01 00:00:00"),
        R"({"end":"2024-06-01 00:00:00","reason":"dateWindow","start":"2024-05-02 00:00:00","today":"2024-05-01"})");
    EXPECT_NE(check("2024-04-01 00:00:00", "2024-04-30 23:59:59"), "eligible");
    EXPECT_EQ(check("bad", "also bad"), "eligible");  // unparsable dates compare as equal
    e.test.clock().advance(15h + 59min + 59s);
    EXPECT_EQ(check("2024-04-01 00:00:00", "2024-05-01 08:00:00"), "eligible");  // 23:59:59 on the last day
    e.test.clock().advance(1s);
    EXPECT_EQ(
        check("2024-04-01 00:00:00", "2024-05-01 08:00:00"),
        R"({"end":"2024-05-01 08:00:00","reason":"dateWindow","start":"2024-04-01 00:00:00","today":"2024-05-02"})");
}

TEST(OTSDKManagerEligibility, TheOldRuleCountsTwiceAndShowsOncePerProcess) {
    Eligibility e;
    auto [data, node] = e.campaign({{"id", "1"}, {"count", 3}});
    EXPECT_TRUE(e.engine->eligibility().readyToShowWithData(data));
    EXPECT_EQ(node->usedCount(), 2);
    EXPECT_EQ(e.settings->dailyPopWindowCount(), 2u);
    EXPECT_TRUE(node->activated());
    EXPECT_EQ(why(e.engine->eligibility().refusalToShow(data)), R"({"reason":"shownBefore"})");  // until cleared
    EXPECT_TRUE(e.test.console().contains("readyToShowWithData:0"));

    e.engine->campaigns().setTreeNodesInit(false);
    e.engine->campaigns().clearTreeNodeActivateState(e.engine->environment().clock().now());
    EXPECT_TRUE(e.engine->eligibility().readyToShowWithData(data));
    EXPECT_EQ(node->usedCount(), 3);  // 2 + 2, held at the limit of 3
    e.engine->campaigns().setTreeNodesInit(false);
    e.engine->campaigns().clearTreeNodeActivateState(e.engine->environment().clock().now());
    EXPECT_EQ(why(e.engine->eligibility().refusalToShow(data)), R"({"count":3,"reason":"usedUp","used":3})");
    EXPECT_TRUE(
        e.test.console().contains("matchOldRuleWithData:dailyPopWindowCount->4,maxDailyPopWindowCount->4294967295"));
}

TEST(OTSDKManagerEligibility, PauseRulesWaitStrictlyLongerThanThePause) {
    Eligibility e;
    auto [data, node] =
        e.campaign(withRules({{"eventType", "click"}, {"type", 1}, {"count", 2}},
                             {{"eventType", "close"}, {"type", 3}, {"intervalValue", 2}, {"intervalType", "hour"}}));
    EXPECT_TRUE(e.engine->eligibility().readyToShowWithData(data));  // first showing
    EXPECT_EQ(node->usedCount(), 1);                                 // counted once under the new rule
    e.engine->dialogFlow().syncTreeNode(node, 1);
    e.engine->dialogFlow().syncTreeNode(node, 3);  // closed
    EXPECT_EQ(node->lastEventType(), "close");
    e.test.clock().advance(7200s);
    EXPECT_EQ(why(e.engine->eligibility().refusal(data)),
              R"({"reason":"pause","rule":"close","until":"2024-05-01 10:00:00"})");
    e.test.clock().advance(1s);
    EXPECT_TRUE(e.engine->eligibility().matchNewRuleWithData(data));

    // "day" multiplies by 24 hours.
    data->closeRule()->setIntervalType("day");
    data->closeRule()->setIntervalValue(1);
    e.engine->dialogFlow().syncTreeNode(node, 1);
    e.test.clock().advance(86400s);
    EXPECT_FALSE(e.engine->eligibility().matchNewRuleWithData(data));
    e.test.clock().advance(1s);
    EXPECT_TRUE(e.engine->eligibility().matchNewRuleWithData(data));
}

TEST(OTSDKManagerEligibility, NumberRulesCountClicksOrCloses) {
    Eligibility e;
    auto [data, node] =
        e.campaign(withRules({{"eventType", "click"}, {"type", 1}, {"count", 2}},
                             {{"eventType", "close"}, {"type", 2}, {"count", 1}, {"intervalValue", 0}}));
    node->setUsedCount(1);
    e.engine->dialogFlow().syncTreeNode(node, 2);  // one click
    EXPECT_TRUE(e.engine->eligibility().matchNewRuleWithData(data));
    e.engine->dialogFlow().syncTreeNode(node, 4);  // a second click
    EXPECT_EQ(why(e.engine->eligibility().refusal(data)),
              R"({"count":2,"max":2,"reason":"reactionCount","rule":"click"})");

    e.engine->dialogFlow().syncTreeNode(node, 1);
    e.engine->dialogFlow().syncTreeNode(node, 3);  // a close: number and pause
    e.test.clock().advance(1s);
    EXPECT_EQ(why(e.engine->eligibility().refusal(data)),  // one close of one allowed
              R"({"count":1,"max":1,"reason":"reactionCount","rule":"close"})");
    data->closeRule()->setCount(2);
    EXPECT_TRUE(e.engine->eligibility().matchNewRuleWithData(data));
    data->closeRule()->setType(9);
    EXPECT_EQ(why(e.engine->eligibility().refusal(data)),
              R"({"lastEventType":"close","reason":"noRuleForReaction","ruleType":9})");
    node->setLastEventType("unknown");
    data->closeRule()->setType(1);
    EXPECT_EQ(why(e.engine->eligibility().refusal(data)),
              R"({"lastEventType":"unknown","reason":"noRuleForReaction"})");
    // Shown but never clicked or closed: judged as a first showing.
    node->setLastEventType("");
    EXPECT_TRUE(e.engine->eligibility().matchNewRuleWithData(data));
    EXPECT_TRUE(e.test.console().contains("matchNewRuleWithData->11111"));
    EXPECT_TRUE(e.test.console().contains("matchNewRuleWithData->22222"));
}

TEST(OTSDKManagerEligibility, ForbiddenStatesFollowTheCloseDialogType) {
    Eligibility e;
    auto [zero, nodeZero] = e.campaign({{"id", "10"}, {"closeDialogType", 0}});
    auto [one, nodeOne] = e.campaign({{"id", "11"}, {"closeDialogType", 1}});
    auto [two, nodeTwo] = e.campaign({{"id", "12"}, {"closeDialogType", 2}});
    for (const auto& [d, n] : {std::pair{zero, nodeZero}, std::pair{one, nodeOne}, std::pair{two, nodeTwo}}) {
        n->setCloseDialogType(d->closeDialogType());
        e.engine->campaigns().handleNodeForbiddenState(*d, e.engine->environment().clock().now());
    }
    EXPECT_FALSE(nodeZero->forbidden());
    EXPECT_EQ(nodeZero->forbiddenStartTime(), e.test.clock().now() + std::chrono::seconds(4294967295LL));
    EXPECT_TRUE(nodeOne->forbidden());
    EXPECT_EQ(nodeOne->forbiddenStartTime(), e.test.clock().now());
    EXPECT_TRUE(nodeTwo->forbidden());
    EXPECT_EQ(nodeTwo->forbiddenStartTime(), OTClock::TimePoint{});
    // The next day, a restart lifts the day's ban but not the permanent one.
    e.test.clock().advance(24h);
    e.test.restart();
    auto restarted = OTSDKManager::sharedManager();
    EXPECT_FALSE(restarted->campaigns().windowRecordTree()->findWindowNodeById(11)->forbidden());
    EXPECT_FALSE(restarted->campaigns().windowRecordTree()->findWindowNodeById(11)->activated());
    EXPECT_TRUE(restarted->campaigns().windowRecordTree()->findWindowNodeById(12)->forbidden());
}

// A dialog shown changes the day's count (settings) and the campaign's use (record tree), twice by the
// old rule: a crash at any point of any write of that decision leaves both as they were or both
// changed.
TEST(OTSDKManagerEligibility, ADialogsCountAndUseLandTogetherWhereverTheProcessStops) {
    using Stage = OTSimulatedFileSystem::Stage;
    OTTestEnvironment test;
    const auto start = [&test](OTSimulatedFileSystem::Files files) {
        auto simulated = std::make_shared<OTSimulatedFileSystem>(std::move(files));
        test.setFiles(simulated);
        return simulated;
    };
    const auto engine = [] { return OTSDKManager::sharedManager()->managerWithGroupIdentifier("group.demo"); };
    // Count and use as the files hold them, read by a fresh start.
    const auto stored = [&] {
        test.restart();
        const auto node = engine()->campaigns().windowRecordTree()->findWindowNodeById(9);
        return std::pair<std::uint64_t, std::int64_t>(
            OTUserConfig::defaultConfig()->configWithGroupIdentifier(std::string("group.demo"))->dailyPopWindowCount(),
            node ? node->usedCount() : -1);
    };
    auto files = start({});
    OTCampaignLoader::load(*engine(), {{{"id", "9"}, {"count", 5}}});
    engine()->campaigns().syncInAppData();
    engine()->campaigns().syncRecordTree();
    const auto before = files->snapshot();
    ASSERT_EQ(stored(), (std::pair<std::uint64_t, std::int64_t>(0, 0)));

    const auto decide = [&] {
        auto shared = engine();
        EXPECT_FALSE(shared->eligibility().refusalToShow(shared->campaigns().inAppDataArray().at(0)).has_value());
    };
    files = start(before);
    const auto setUp = files->writePoints();
    decide();
    const auto points = files->writePoints() - setUp;
    ASSERT_GE(points, 2u);
    const std::pair<std::uint64_t, std::int64_t> decided(2, 2);
    EXPECT_EQ(stored(), decided);

    for (std::uint64_t point = 1; point <= points; ++point) {
        for (const auto stage : {Stage::BeforeTemporary, Stage::HalfWritten, Stage::AfterRename}) {
            SCOPED_TRACE(std::to_string(point) + " " + OTSimulatedFileSystem::stageName(stage));
            files = start(before);
            files->planCrash(files->writePoints() + point, stage);
            decide();
            ASSERT_TRUE(files->crashed());
            files->restart();
            const auto after = stored();
            const std::pair<std::uint64_t, std::int64_t> untouched(0, 0);
            EXPECT_TRUE(after == decided || after == untouched) << "count " << after.first << ", used " << after.second;
        }
    }
}

}  // namespace corvane
