#include <gtest/gtest.h>

#include "core/OTCampaignStore.h"
#include "core/OTSDKManager.h"
#include "core/OTTaskManager.h"
#include "corvane/CorvaneOtManager.h"
#include "foundation/OTFiles.h"
#include "model/OTEvent.h"
#include "model/OTWindowData.h"
#include "model/OTWindowRecordTree.h"
#include "server/OTServerSession.h"
#include "services/OTDataArchiver.h"
#include "services/OTLogger.h"
#include "services/OTUserConfig.h"
#include "support/OTSDKManagerProbe.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using nlohmann::json;
using namespace std::chrono_literals;

namespace {
std::shared_ptr<OTEvent> eventNamed(const char* name, json context = json::object()) {
    auto event = std::make_shared<OTEvent>();
    event->setModelWithDic(json{{"xwhat", name}, {"xcontext", std::move(context)}});
    return event;
}

std::shared_ptr<OTWindowRecordTreeNode> node(std::int64_t id, std::int64_t closeDialogType, bool forbidden,
                                             std::optional<OTClock::TimePoint> forbiddenStart) {
    auto n = std::make_shared<OTWindowRecordTreeNode>();
    n->setNodeId(id);
    n->setCount(5);
    n->setActivated(true);
    n->setCloseDialogType(closeDialogType);
    n->setForbidden(forbidden);
    n->setForbiddenStartTime(forbiddenStart);
    return n;
}
}  // namespace

TEST(OTSDKManagerIntake, ARestartRestoresCampaignsAndRecordsWithActivationCleared) {
    OTTestEnvironment test;
    const auto now = test.clock().now();
    auto campaign = std::make_shared<OTWindowData>();
    campaign->setModelWithDic(json::parse(R"({"id":"11","style":3,"event":{"xwhat":"buy"}})"));
    ASSERT_TRUE(OTDataArchiver::setData(std::vector<std::shared_ptr<const OTWindowData>>{campaign},
                                        test.documents() / "OTInAppWindowData.plist"));
    ASSERT_TRUE(OTDataArchiver::setData(std::vector<std::shared_ptr<const OTWindowData>>{campaign, campaign},
                                        test.documents() / "OTSubscribeWindowData.plist"));
    const std::vector<std::shared_ptr<OTWindowRecordTreeNode>> nodes = {
        node(1, 0, true, now),            // reset: type 0 always
        node(2, 1, true, now - 1h),       // forbidden today: kept
        node(3, 1, true, now - 24h),      // forbidden yesterday: reset
        node(4, 2, true, std::nullopt),   // kept for good
        node(5, 7, false, std::nullopt),  // other types: kept, and deactivated
    };
    ASSERT_TRUE(OTDataArchiver::setData(nodes, test.documents() / "OTWindowRecordTreeData.plist"));
    test.restart();

    auto engine = OTSDKManager::sharedManager();
    ASSERT_EQ(engine->campaigns().inAppDataArray().size(), 1u);
    EXPECT_EQ(engine->campaigns().inAppDataArray()[0]->windowId(), "11");
    EXPECT_EQ(engine->campaigns().inAppDataArray()[0]->event()->xwhat(), "buy");
    EXPECT_EQ(engine->campaigns().subscribeDataArray().size(), 2u);
    EXPECT_TRUE(engine->campaigns().treeNodesInit());
    auto tree = engine->campaigns().windowRecordTree();
    ASSERT_EQ(tree->allNodes().size(), 5u);
    auto at = [&](std::int64_t id) { return tree->findWindowNodeById(id); };
    EXPECT_FALSE(at(1)->forbidden());
    EXPECT_FALSE(at(1)->activated());
    EXPECT_EQ(at(1)->forbiddenStartTime(), now + std::chrono::seconds(4294967295LL));
    EXPECT_TRUE(at(2)->forbidden());
    EXPECT_TRUE(at(2)->activated());  // forbidden nodes stay armed
    EXPECT_FALSE(at(3)->forbidden());
    EXPECT_FALSE(at(3)->activated());
    EXPECT_TRUE(at(4)->forbidden());
    EXPECT_FALSE(at(5)->activated());
    // Clearing runs once until a download asks again.
    at(5)->setActivated(true);
    engine->campaigns().clearTreeNodeActivateState(engine->environment().clock().now());
    EXPECT_TRUE(at(5)->activated());
}

TEST(OTSDKManagerIntake, CorruptCampaignFilesGiveEmptyLists) {
    OTTestEnvironment test;
    OTFiles::writeFileAtomically(test.documents() / "OTInAppWindowData.plist", "garbage");
    OTFiles::writeFileAtomically(test.documents() / "OTWindowRecordTreeData.plist", std::string(64, '\0'));
    auto engine = OTSDKManager::sharedManager();
    EXPECT_TRUE(engine->campaigns().inAppDataArray().empty());
    EXPECT_TRUE(engine->campaigns().windowRecordTree()->allNodes().empty());
}

TEST(OTSDKManagerIntake, EventsAreCountedAndHeldOnTheEventQueue) {
    OTTestEnvironment test;
    auto config = std::make_shared<CorvaneOtConfig>();
    config->setMainPage("HomeVC");
    auto engine = OTSDKManager::sharedManager();
    engine->session().setConfiguration(config);
    auto observer = CorvaneOtManager::getObserverListener("group.demo");

    observer->onEventDataReceived(
        json::parse(R"({"source":0,"appid":"a1","xwhat":"$pageview","xcontext":{"$url":"HomeVC"}})"));
    observer->onEventDataReceived(json::parse(R"({"xwhat":"$pageview","xcontext":{"$url":"Other"}})"));
    observer->onEventDataReceived(json::parse(R"({"source":2,"xwhat":"$pageview","xcontext":{"$url":"HomeVC"}})"));
    observer->onEventDataReceived(json::parse(R"({"source":"x","xwhat":"$pageview"})"));
    observer->onEventDataReceived(json::parse(R"({"source":[1],"xwhat":"$pageview"})"));
    observer->onEventDataReceived(json::parse(R"([1,2])"));
    observer->onEventDataReceived(
        json::parse(R"({"source":1,"type":"track","event":"$AppViewScreen","properties":{"$screen_name":"HomeVC"}})"));
    EXPECT_EQ(engine->pvCount(), 0);  // nothing is handled on the caller's thread
    test.scheduler().runUntilIdle();
    // "x" reads as source 0; [1] and source 2 are dropped.
    EXPECT_EQ(engine->pvCount(), 4);
    EXPECT_EQ(engine->mainPagePVCount(), 2);
    EXPECT_EQ(engine->session().appid(), "");  // the adapted Sensors Analytics event came last
    EXPECT_EQ(engine->currentTriggerEvent()->xwhat(), "$pageview");
    // With no campaigns, events wait, but none that a waiting one already matches: the page view
    // without properties and the second HomeVC view are matched by the first.
    ASSERT_EQ(engine->waitingEvents().size(), 2u);
    EXPECT_EQ(engine->waitingEvents()[0]->xcontext(), (json{{"$url", "HomeVC"}}));
    EXPECT_EQ(engine->waitingEvents()[1]->xcontext(), (json{{"$url", "Other"}}));

    const auto log = test.log();
    EXPECT_NE(log.find("收到岚桥 event 回调：\n{\n    appid = a1;"), std::string::npos);
    EXPECT_NE(log.find("收到神策 event 回调：\n{\n    event = $AppViewScreen;"), std::string::npos);
}

TEST(OTSDKManagerIntake, AtMostFiveEventsWait) {
    OTTestEnvironment test;
    auto engine = OTSDKManager::sharedManager();
    for (int i = 0; i < 6; ++i)
        OTSDKManagerProbe::onLane(
            *engine, [&](OTSDKManager& lane) { lane.addWaitingEvent(eventNamed(("e" + std::to_string(i)).c_str())); });
    ASSERT_EQ(engine->waitingEvents().size(), 5u);
    EXPECT_EQ(engine->waitingEvents()[4]->xwhat(), "e4");
    OTSDKManagerProbe::setWaitingEvents(*engine, {});
    auto held = eventNamed("$pageview", json{{"$url", "A"}, {"x", 1}});
    OTSDKManagerProbe::onLane(*engine, [&](OTSDKManager& lane) { lane.addWaitingEvent(held); });
    OTSDKManagerProbe::onLane(*engine, [&](OTSDKManager& lane) { lane.addWaitingEvent(held); });
    OTSDKManagerProbe::onLane(*engine, [&](OTSDKManager& lane) {
        lane.addWaitingEvent(eventNamed("$pageview", json{{"$url", "A"}}));
    });  // the held one matches it
    OTSDKManagerProbe::onLane(*engine, [&](OTSDKManager& lane) {
        lane.addWaitingEvent(eventNamed("$pageview", json{{"$url", "B"}}));
    });
    OTSDKManagerProbe::onLane(*engine, [&](OTSDKManager& lane) { lane.addWaitingEvent(nullptr); });
    EXPECT_EQ(engine->waitingEvents().size(), 2u);
}

TEST(OTSDKManagerIntake, ProfileChangesSetUserAndCalibration) {
    OTTestEnvironment test;
    auto engine = OTSDKManager::sharedManager()->managerWithGroupIdentifier("group.demo");
    engine->onUserProfile(json{{"xwho", "user-1"}, {"calibration_time", "12.5"}, {"other", 1}});
    EXPECT_EQ(engine->session().userId(), "user-1");
    EXPECT_EQ(engine->session().calibrationTime(), 12.5);
    engine->onUserProfile(json{{"calibration_time", 0.1}});
    EXPECT_EQ(engine->session().calibrationTime(), static_cast<double>(0.1f));  // single precision, on purpose
    engine->onUserProfile(json{{"calibration_time", nullptr}});
    EXPECT_EQ(engine->session().calibrationTime(), static_cast<double>(0.1f));
    engine->onUserProfile("calibration_time", 99);
    EXPECT_EQ(engine->session().calibrationTime(), static_cast<double>(0.1f));
    engine->onUserProfile("xwho", "user-2");
    EXPECT_EQ(engine->session().userId(), "user-2");
    engine->onUserProfile(json::array({"xwho"}));
    EXPECT_EQ(engine->session().userId(), "user-2");
}

TEST(OTSDKManagerIntake, AUserChangeQueuesUploadsClearsTheCounterAndEmptiesTheTree) {
    OTTestEnvironment test;
    auto engine = OTSDKManager::sharedManager()->managerWithGroupIdentifier("group.demo");
    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(std::string("group.demo"));
    settings->setDailyPopWindowCount(3);
    engine->campaigns().windowRecordTree()->addTreeNode(node(1, 0, false, std::nullopt));

    engine->handleXwho(std::string("u-1"));
    EXPECT_EQ(engine->session().userId(), "u-1");
    EXPECT_EQ(settings->userId(), "u-1");
    // The usage goes on the event queue, between two events.
    EXPECT_EQ(settings->dailyPopWindowCount(), 3u);
    test.scheduler().runUntilIdle();
    EXPECT_EQ(settings->dailyPopWindowCount(), 0u);
    EXPECT_TRUE(engine->campaigns().windowRecordTree()->allNodes().empty());
    EXPECT_EQ(
        OTDataArchiver::getObjectsForPath<OTWindowRecordTreeNode>(test.documents() / "OTWindowRecordTreeData.plist")
            ->size(),
        0u);
    // The two uploads wait for a token: the push-token task first, with its id.
    auto pending = OTTaskManager::manager()->pendingTasks();
    ASSERT_EQ(pending.size(), 2u);
    EXPECT_EQ(pending[0]->taskId(), "uploadPushToken");
    EXPECT_FALSE(pending[1]->taskId().has_value());
    engine->session().setToken("t");
    test.scheduler().advance(1s);
    EXPECT_TRUE(OTTaskManager::manager()->pendingTasks().empty());

    // The same id again only re-reads the stored id.
    settings->setDailyPopWindowCount(2);
    engine->session().setUserId("stale");
    engine->handleXwho(std::string("u-1"));
    EXPECT_EQ(engine->session().userId(), "u-1");
    EXPECT_EQ(settings->dailyPopWindowCount(), 2u);
    EXPECT_TRUE(OTTaskManager::manager()->pendingTasks().empty());

    // A missing id is always a change.
    engine->handleXwho(std::nullopt);
    EXPECT_FALSE(engine->session().userId().has_value());
    test.scheduler().runUntilIdle();
    EXPECT_EQ(settings->dailyPopWindowCount(), 0u);
    EXPECT_TRUE(test.console().contains("corvane->setUserId"));
    const auto log = test.log();
    EXPECT_NE(log.find("syncRecordTree 成功！"), std::string::npos);
}

}  // namespace corvane
