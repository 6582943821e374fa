#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <mutex>

#include "core/OTSDKManager.h"
#include "corvane/CorvaneOtManager.h"
#include "foundation/OTFiles.h"
#include "model/OTEvent.h"
#include "model/OTWindowData.h"
#include "server/OTEventReporter.h"
#include "server/OTNetwork.h"
#include "server/OTServerSession.h"
#include "services/OTDataArchiver.h"
#include "services/OTUserConfig.h"
#include "support/OTSDKManagerProbe.h"
#include "support/OTServerHarness.h"

namespace corvane {

using namespace std::chrono_literals;
using nlohmann::json;

namespace {
constexpr const char* kCallback = OTEventReporter::kReportPath;

// Started, logged in as "token-1", campaigns downloaded and the "$pullDialog" report answered.
struct Reporting : OTServerHarness {
    Reporting() { startSettled(); }
    // The events of the reports received so far, once `count` have arrived.
    std::vector<json> reportedEvents(std::size_t count) {
        EXPECT_TRUE(waitFor([&] { return server.requestsTo(kCallback).size() >= count; }));
        std::vector<json> events;
        for (const auto& request : server.requestsTo(kCallback)) events.push_back(request.body["events"].at(0));
        return events;
    }
    std::vector<std::shared_ptr<OTEvent>> queueFile(const char* name) {
        return OTDataArchiver::getObjectsForPath<OTEvent>(test.documents() / name)
            .value_or(std::vector<std::shared_ptr<OTEvent>>{});
    }
};

std::shared_ptr<const OTWindowData> campaign(const json& dic) {
    auto data = std::make_shared<OTWindowData>();
    data->setModelWithDic(dic);
    return data;
}

OTDevServer::Fault dropped(int count = 1) {
    OTDevServer::Fault fault;
    fault.count = count;
    fault.dropConnection = true;
    return fault;
}
}  // namespace

TEST(OTReporting, DialogReportsCarryTheTriggerPropertiesTypeAndButtonText) {
    Reporting r;
    r.engine->session().setAppid("app-9");
    r.engine->session().setCalibrationTime(2.5);
    auto trigger = std::make_shared<OTEvent>();
    trigger->setModelWithDic(json{{"xwhat", "buy"}, {"xcontext", {{"name", "Ann"}, {"$lib_version", "old"}}}});
    OTSDKManagerProbe::setCurrentTriggerEvent(*r.engine, trigger);
    const auto data = campaign({{"id", "7"},
                                {"type", 2},
                                {"buttonLeft", {{"text", "No"}}},
                                {"buttonRight", {{"text", "OK"}}},
                                {"buttonMiddle", {{"clickEvent", "HomeVC"}}}});

    r.engine->reportWindowEventWithName("$clickDialog", 5, data);
    r.reportedEvents(1);
    const auto body = r.server.requestsTo(kCallback).at(0).body;
    EXPECT_EQ(body["os"], (json{{"brand", "iphone"},
                                {"channel", "default"},
                                {"packageName", "com.corvane.test"},
                                {"platform", "ios"},
                                {"version", "17.5"}}));
    EXPECT_EQ(body["sdkVersion"], "2.2.2");
    EXPECT_EQ(body["token"], "token-1");
    EXPECT_EQ(body["userId"], "user-1");
    ASSERT_EQ(body["events"].size(), 1u);
    // 2024-05-01 00:00:00 UTC plus the 2.5 s correction, in milliseconds.
    EXPECT_EQ(body["events"][0], (json{{"appid", "app-9"},
                                       {"xwho", "user-1"},
                                       {"xwhat", "$clickDialog"},
                                       {"xwhen", 1714521602500},
                                       {"xcontext",
                                        {{"name", "Ann"},
                                         {"$lib_version", "2.2.2"},
                                         {"activityId", "7"},
                                         {"$dialog_type", 5},
                                         {"dialog_button_text", "OK"}}},
                                       {"count", 1},
                                       {"delay", 0}}));
    ASSERT_TRUE(r.waitForOutcomes(kCallback));
    EXPECT_EQ(r.outcomes(kCallback), std::vector{OTServerOutcome::Kind::Success});
    EXPECT_NE(r.log().find("上报（弹窗）事件:\n{\n  \"appid\" : \"app-9\""), std::string::npos);

    // The other types: "$pullDialog" has no type at all; only buttons with text name themselves.
    r.server.clearRequests();
    OTSDKManagerProbe::setCurrentTriggerEvent(*r.engine, nullptr);
    r.engine->reportWindowEventWithName("$pullDialog", 0, data);
    r.engine->reportWindowEventWithName("$clickDialog", 4, data);
    r.engine->reportWindowEventWithName("$clickDialog", 6, data);
    r.engine->reportWindowEventWithName("$closeDialog", 3, nullptr);
    auto events = r.reportedEvents(4);
    std::vector<std::string> seen;
    for (const auto& event : events) seen.push_back(event["xwhat"].get<std::string>() + " " + event["xcontext"].dump());
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(
        seen,
        (std::vector<std::string>{
            R"($clickDialog {"$dialog_type":4,"$lib_version":"2.2.2","activityId":"7","dialog_button_text":"No"})",
            R"($clickDialog {"$dialog_type":6,"$lib_version":"2.2.2","activityId":"7"})",
            R"($closeDialog {"$dialog_type":3,"$lib_version":"2.2.2","activityId":""})",
            R"($pullDialog {"$lib_version":"2.2.2","activityId":"7"})"}));
}

TEST(OTReporting, PushReportsUseTheGroupsSettingsAndOpenedPushesNavigate) {
    Reporting r;
    r.engine->session().setAppid("app-9");
    // A notification extension: its group's settings hold the token and user, the engine never logged in there.
    auto extension = OTUserConfig::defaultConfig()->configWithGroupIdentifier(std::string("group.ext"));
    extension->setToken("token-1");
    extension->setUserId("ext-user");

    CorvaneOtManager::pushTrack(0, json{{"activityId", "55"}}, "group.ext");
    CorvaneOtManager::pushTrack(2, json{{"activityId", "56"}}, "group.ext");  // built, never sent
    CorvaneOtManager::pushTrack(
        1, json{{"activityId", "57"}, {"$push_channel", "apns"}, {"intentUrl", "demo://deal/57"}}, "group.ext");
    CorvaneOtManager::pushTrack(1, json::array({1, 2}), "group.ext");  // not a payload: nothing
    auto events = r.reportedEvents(2);
    ASSERT_TRUE(r.waitForOutcomes(kCallback, 2));
    EXPECT_EQ(r.outcomes(kCallback), std::vector(2, OTServerOutcome::Kind::Success));
    ASSERT_EQ(r.server.requestsTo(kCallback).size(), 2u);
    for (const auto& request : r.server.requestsTo(kCallback)) {
        EXPECT_EQ(request.body["token"], "token-1");
        EXPECT_EQ(request.body["userId"], "ext-user");
    }
    std::sort(events.begin(), events.end(), [](const json& a, const json& b) { return a["xwhat"] < b["xwhat"]; });
    EXPECT_EQ(events[0]["xwhat"], "$ot_push_click");
    EXPECT_EQ(events[0]["appid"], "");
    EXPECT_EQ(events[0]["xwho"], "ext-user");
    EXPECT_EQ(events[0]["xcontext"],
              (json{{"$push_channel", "apns"}, {"activityId", "57"}, {"$lib_version", "2.2.2"}}));
    EXPECT_EQ(events[1]["xwhat"], "$ot_push_delivery");
    EXPECT_EQ(events[1]["xcontext"]["$push_channel"], "");
    EXPECT_NE(r.log().find("corvane->reportPushEventWithType:type->2,msg->{\n    activityId = 56;\n}"),
              std::string::npos);

    // The opened one is followed 0.6 s later: a custom scheme goes to the system.
    r.test.scheduler().advance(600ms);
    const auto records = r.test.uiHost().records();
    EXPECT_EQ(std::count(records.begin(), records.end(), "open url: demo://deal/57"), 1);
}

TEST(OTReporting, OnlyTransportFailuresAreQueuedAndTheyGoOutWhenTheNetworkReturns) {
    Reporting r;
    const auto data = campaign({{"id", "7"}, {"type", 1}});
    const auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(std::string("group.demo"));
    settings->setUserId("user-1");
    // What becomes of each report, as the public listener tells it, queue by queue.
    std::mutex mutex;
    std::map<std::string, std::vector<std::string>> fates;
    CorvaneOtManager::setReportListener([&](const json& record) {
        const std::lock_guard lock(mutex);
        fates[record["queue"]].push_back(
            record["fate"].get<std::string>() + " " +
            (record.contains("report") ? record["report"]["xwhat"].dump() : record["count"].dump()));
    });

    // Rejected by the server (any code but an expired token): logged and lost.
    OTDevServer::Fault refused;
    refused.code = 20003;
    r.server.injectFault(kCallback, refused);
    r.engine->reportWindowEventWithName("$impDialog", 1, data);
    ASSERT_TRUE(r.waitForOutcomes(kCallback, 1));
    EXPECT_EQ(r.outcomes(kCallback), std::vector{OTServerOutcome::Kind::Refused});
    EXPECT_EQ(r.test.logCount("上报事件失败！\n事件："), 1u);
    EXPECT_FALSE(std::filesystem::exists(r.test.documents() / OTEventReporter::kOfflineWindowEventsFileName));

    // Lost in transport: each kind lands in its own file.
    r.server.injectFault(kCallback, dropped(2));
    r.engine->reportWindowEventWithName("$closeDialog", 3, data);
    ASSERT_TRUE(r.waitForOutcomes(kCallback, 2));
    r.engine->pushTrack(0, json{{"activityId", "55"}}, std::string("group.demo"));
    ASSERT_TRUE(r.waitForOutcomes(kCallback, 3));
    EXPECT_EQ(r.outcomes(kCallback).back(), OTServerOutcome::Kind::TransportFailure);
    ASSERT_EQ(r.queueFile(OTEventReporter::kOfflineWindowEventsFileName).size(), 1u);
    EXPECT_EQ(r.queueFile(OTEventReporter::kOfflineWindowEventsFileName)[0]->xwhat(), "$closeDialog");
    ASSERT_EQ(r.queueFile(OTEventReporter::kOfflinePushEventsFileName).size(), 1u);
    EXPECT_EQ(r.queueFile(OTEventReporter::kOfflinePushEventsFileName)[0]->xwhat(), "$ot_push_delivery");

    // Going offline flushes nothing; coming back sends both queues and empties the files.
    r.server.clearRequests();
    r.test.reachability().setFlags(0);
    r.test.scheduler().runUntilIdle();
    EXPECT_EQ(r.test.logCount("网络状态发生变化，当前网络：NO_NETWORK"), 1u);
    EXPECT_TRUE(r.server.requestsTo(kCallback).empty());
    r.test.reachability().setFlags(2);
    auto events = r.reportedEvents(2);
    std::vector<std::string> names;
    for (const auto& event : events) names.push_back(event["xwhat"]);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"$closeDialog", "$ot_push_delivery"}));
    EXPECT_TRUE(r.queueFile(OTEventReporter::kOfflineWindowEventsFileName).empty());
    EXPECT_TRUE(r.queueFile(OTEventReporter::kOfflinePushEventsFileName).empty());
    // The lists in memory are kept as they were.
    EXPECT_EQ(r.engine->reporter().cachedOfflineWindowEvents().size(), 1u);
    EXPECT_EQ(r.engine->reporter().cachedOfflinePushEvents().size(), 1u);
    ASSERT_TRUE(r.waitForOutcomes(kCallback, 5));

    // A later failure writes the kept list whole: the file holds the re-sent event again.
    r.server.injectFault(kCallback, dropped());
    r.engine->reportWindowEventWithName("$impDialog", 1, data);
    ASSERT_TRUE(r.waitForOutcomes(kCallback, 6));
    const auto kept = r.queueFile(OTEventReporter::kOfflineWindowEventsFileName);
    ASSERT_EQ(kept.size(), 2u);
    EXPECT_EQ(kept[0]->xwhat(), "$closeDialog");
    EXPECT_EQ(kept[1]->xwhat(), "$impDialog");
    CorvaneOtManager::setReportListener(nullptr);
    const std::lock_guard lock(mutex);
    // Made, answered or lost in transport and then queued; each queue file read back once.
    EXPECT_EQ(fates["window"],
              (std::vector<std::string>{R"(made "$impDialog")", R"(refused "$impDialog")", R"(made "$closeDialog")",
                                        R"(failed "$closeDialog")", R"(queued "$closeDialog")", "loaded 1",
                                        R"(sent "$closeDialog")", R"(made "$impDialog")", R"(failed "$impDialog")",
                                        R"(queued "$impDialog")"}));
    EXPECT_EQ(fates["push"],
              (std::vector<std::string>{R"(made "$ot_push_delivery")", R"(failed "$ot_push_delivery")",
                                        R"(queued "$ot_push_delivery")", "loaded 1", R"(sent "$ot_push_delivery")"}));
}

TEST(OTReporting, EventsQueuedInAnEarlierRunAreOverwrittenBeforeTheFirstFlush) {
    OTServerHarness h;
    auto old = std::make_shared<OTEvent>();
    old->setXwhat("$ot_push_delivery");
    const auto pushFile = h.test.documents() / OTEventReporter::kOfflinePushEventsFileName;
    ASSERT_TRUE(OTDataArchiver::setData(std::vector<std::shared_ptr<OTEvent>>{old, old}, pushFile));
    h.server.injectFault(kCallback, dropped());
    h.engine->pushTrack(1, json{{"activityId", "1"}}, std::string("group.demo"));
    ASSERT_TRUE(h.waitForOutcomes(kCallback));
    const auto left = OTDataArchiver::getObjectsForPath<OTEvent>(pushFile);
    ASSERT_TRUE(left.has_value());
    ASSERT_EQ(left->size(), 1u);
    EXPECT_EQ((*left)[0]->xwhat(), "$ot_push_click");

    // Flushing a missing or broken file sends nothing and leaves an empty list.
    std::filesystem::remove(h.test.documents() / OTEventReporter::kOfflineWindowEventsFileName);
    h.engine->reporter().reportCachedOfflineWindowEvents();
    EXPECT_TRUE(h.engine->reporter().cachedOfflineWindowEvents().empty());
    ASSERT_TRUE(OTFiles::writeFileAtomically(pushFile, std::string("bplist00\xff\xff garbage", 18)));
    h.engine->reporter().reportCachedOfflinePushEvents();
    EXPECT_TRUE(h.engine->reporter().cachedOfflinePushEvents().empty());
    h.test.scheduler().runUntilIdle();
    EXPECT_TRUE(h.server.requestsTo(kCallback).empty());
}

TEST(OTReporting, AnExpiredTokenLogsInAgainAtMostThreeTimesAcrossBothSenders) {
    Reporting r;
    OTDevServer::Fault expired;
    expired.count = 100;
    expired.code = OTDevServer::kInvalidTokenCode;
    r.server.injectFault(kCallback, expired);
    r.engine->reportWindowEventWithName("$impDialog", 1, campaign({{"id", "7"}}));
    // The first answer and three re-sent ones, each after a new login.
    ASSERT_TRUE(r.waitForOutcomes(kCallback, 4));
    ASSERT_TRUE(r.waitFor([&] { return r.engine->reporter().reportEventRetryCount() == 4; }));
    r.test.scheduler().runUntil([] { return false; }, 100ms);
    EXPECT_EQ(r.server.requestsTo(kCallback).size(), 4u);
    EXPECT_EQ(r.server.requestsTo("/push/sdk/login").size(), 3u);

    // The counter is never reset and is shared with push reports: no more logins.
    r.engine->pushTrack(0, json{{"activityId", "1"}}, std::string("group.demo"));
    ASSERT_TRUE(r.waitForOutcomes(kCallback, 5));
    EXPECT_EQ(r.outcomes(kCallback), std::vector(5, OTServerOutcome::Kind::TokenExpired));
    EXPECT_EQ(r.test.logCount("token 失效，重新 login"), 5u);
    r.test.scheduler().runUntil([] { return false; }, 100ms);
    EXPECT_EQ(r.server.requestsTo("/push/sdk/login").size(), 3u);
    EXPECT_FALSE(std::filesystem::exists(r.test.documents() / OTEventReporter::kOfflineWindowEventsFileName));
}

}  // namespace corvane
