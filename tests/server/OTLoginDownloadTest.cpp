#include <gtest/gtest.h>

#include "OTDevServer.h"
#include "core/OTCampaignStore.h"
#include "core/OTSDKManager.h"
#include "corvane/CorvaneOtManager.h"
#include "model/OTEvent.h"
#include "model/OTWindowData.h"
#include "model/OTWindowRecordTree.h"
#include "platform/OTSandbox.h"
#include "server/OTCampaignDownloader.h"
#include "server/OTEventReporter.h"
#include "server/OTLoginClient.h"
#include "server/OTServerSession.h"
#include "services/OTDataArchiver.h"
#include "services/OTLogger.h"
#include "services/OTUserConfig.h"
#include "support/OTOutcomeRecorder.h"
#include "support/OTServerHarness.h"

namespace corvane {

using namespace std::chrono_literals;
using nlohmann::json;

using Started = OTServerHarness;

namespace {
std::string tail(const std::string& text, std::size_t size) {
    return text.size() > size ? text.substr(text.size() - size) : text;
}
}  // namespace

TEST(OTLoginDownload, StartLogsInDownloadsMergesAndReplaysTheFirstWaitingPageView) {
    Started s;
    std::vector<json> records;
    s.engine->setDecisionListener([&records](const json& record) { records.push_back(record); });
    s.engine->onEventDataReceived(json{{"xwhat", "buy"}});
    s.engine->onEventDataReceived(json{{"xwhat", "$pageview"}, {"xcontext", {{"$url", "MineVC"}}}});
    s.test.scheduler().runUntilIdle();
    ASSERT_EQ(s.engine->waitingEvents().size(), 2u);

    s.start();
    ASSERT_TRUE(s.waitForOutcomes("/push/sdk/in_app"));
    ASSERT_TRUE(s.waitForOutcomes("/push/sdk/event/subscribe"));
    const auto login = s.server.requestsTo("/push/sdk/login").at(0).body;
    EXPECT_EQ(login["appKey"], "app-key");
    EXPECT_EQ(login["sdkVersion"], "2.2.2");
    EXPECT_EQ(login["os"]["mac"], "11111111-2222-4333-8444-555555555555");
    const auto inApp = s.server.requestsTo("/push/sdk/in_app").at(0).body;
    EXPECT_EQ(inApp["newUser"], 1);
    EXPECT_EQ(inApp["token"], "token-1");
    EXPECT_FALSE(inApp["os"].contains("mac"));

    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(std::string("group.demo"));
    EXPECT_EQ(settings->token(), "token-1");
    EXPECT_EQ(settings->maxDailyPopWindowCount(), 5u);  // the login rule
    EXPECT_TRUE(settings->dataPulledToday());
    EXPECT_EQ(s.engine->campaigns().windowRecordTree()->allNodes().size(), 4u);
    EXPECT_TRUE(s.engine->waitingEvents().empty());
    ASSERT_TRUE(s.waitForOutcomes(OTEventReporter::kReportPath));
    const auto reports = s.server.requestsTo("/push/sdk/in_app/callback");
    ASSERT_EQ(reports.size(), 1u);
    const auto pulled = reports[0].body["events"].at(0);
    EXPECT_EQ(pulled["xwhat"], "$pullDialog");
    EXPECT_EQ(pulled["xcontext"]["activityId"], "101");
    EXPECT_FALSE(pulled["xcontext"].contains("$dialog_type"));
    // The page view was replayed: the walk reached the first-page-view campaign at position 2.
    EXPECT_GE(s.engine->currentMatchEventIndex(), 2);
    EXPECT_EQ(OTDataArchiver::getObjectsForPath<OTWindowData>(s.test.documents() / "OTInAppWindowData.plist")->size(),
              4u);
    // Both events waited; once the list came the page view was walked again and "buy" dropped.
    ASSERT_TRUE(s.waitFor([&] { return records.size() >= 4; }));
    std::vector<std::string> passes;
    for (const auto& r : records) {
        passes.push_back(r["event"]["xwhat"].get<std::string>() + " " + r["pass"].get<std::string>() + " " +
                         r.value("verdict", "") + " " + r.value("discarded", ""));
    }
    EXPECT_EQ(passes, (std::vector<std::string>{"buy event waiting ", "$pageview event waiting ",
                                                "$pageview waitingEvent  ", "buy waitingEvent dropped notReplayed"}));
    EXPECT_EQ(records[3]["reason"], "noCampaignsYet");
    EXPECT_TRUE(s.test.console().contains("getListData"));
    const auto log = s.log();
    EXPECT_NE(log.find("CorvaneOstrel 启动成功！\nCorvaneOstrel 版本号：2.2.2\nAppKey：app-key\nuserId：user-1"),
              std::string::npos);

    // The same day with an unchanged activity time: nothing is downloaded again, only a forced
    // download asks. Banner lists and pictures may still be in flight, so only list paths count.
    s.server.clearRequests();
    s.engine->getListData(false);
    s.engine->getListData(true);
    ASSERT_TRUE(s.waitForOutcomes("/push/sdk/in_app", 2));
    ASSERT_TRUE(s.waitForOutcomes("/push/sdk/event/subscribe", 2));
    EXPECT_EQ(s.server.requestsTo("/push/sdk/in_app").size(), 1u);
    EXPECT_EQ(s.server.requestsTo("/push/sdk/event/subscribe").size(), 1u);
    EXPECT_TRUE(s.server.requestsTo("/push/sdk/login").empty());
}

TEST(OTLoginDownload, AnyRefusalOfTheSubscribeListLogsTheTokenMessageButOnlyAnExpiredTokenLogsIn) {
    Started s;
    s.start();
    ASSERT_TRUE(s.waitForOutcomes("/push/sdk/in_app"));
    ASSERT_TRUE(s.waitForOutcomes("/push/sdk/event/subscribe"));
    s.server.clearRequests();
    OTDevServer::Fault refusal;
    refusal.code = 10002;
    s.server.injectFault("/push/sdk/event/subscribe", refusal);
    const auto subscribe = OTOutcomeRecorder::make();
    s.engine->downloader().getSubscribeList({}, subscribe->done());
    ASSERT_TRUE(s.waitFor([&] { return subscribe->count() == 1; }));
    EXPECT_EQ(subscribe->kinds(), std::vector{OTServerOutcome::Kind::Refused});
    EXPECT_EQ(subscribe->outcomes()[0].code(), 10002);
    EXPECT_NE(s.log().find("code:10002\nmessage:injected fault\n"), std::string::npos);
    EXPECT_EQ(s.test.logCount("token 失效，重新 login"), 1u);
    EXPECT_TRUE(s.server.requestsTo("/push/sdk/login").empty());
}

TEST(OTLoginDownload, TransportFailuresRetryAfterARandomDelayAtMostThreeTimes) {
    Started s;
    OTDevServer::Fault drop;
    drop.count = 10;
    drop.dropConnection = true;
    s.server.injectFault("/push/sdk/login", drop);
    s.start();  // every login attempt loses its connection
    auto& scheduler = s.test.scheduler();
    const auto retryWaiting = [&] {
        const auto next = scheduler.nextDueTime();
        return next && *next > s.test.clock().now();
    };
    for (std::uint64_t attempt = 1; attempt <= 3; ++attempt) {
        // The retry waits on the main queue for its random delay, below 60, 120 and 180 s.
        ASSERT_TRUE(s.waitFor([&] { return s.engine->login().loginRetryCount() == attempt && retryWaiting(); }))
            << "attempt " << attempt << ", count " << s.engine->login().loginRetryCount() << ", log ends:\n"
            << tail(s.log(), 3000);
        const auto wait = *scheduler.nextDueTime() - s.test.clock().now();
        EXPECT_LT(wait, std::chrono::seconds(60 * attempt));
        // Exactly to the retry: the failure it meets may land while a longer advance goes on.
        scheduler.advance(std::chrono::duration_cast<std::chrono::nanoseconds>(wait));
    }
    ASSERT_TRUE(s.waitFor([&] { return s.engine->login().loginRetryCount() == 4; }));
    scheduler.runUntil([] { return false; }, 50ms);
    EXPECT_FALSE(retryWaiting());  // a fourth failure schedules nothing
    EXPECT_EQ(s.server.requestsTo("/push/sdk/login").size(), 4u);

    EXPECT_LT(s.engine->session().getRandomRetryDurationWithRetryCount(1, 0.5), 30u);
    EXPECT_EQ(s.engine->session().getRandomRetryDurationWithRetryCount(4, 1.0), 0u);
}

TEST(OTLoginDownload, SubscribeMatchesAskTheServerOncePerEvent) {
    Started s;
    s.start();
    ASSERT_TRUE(s.waitForOutcomes("/push/sdk/event/subscribe"));
    std::vector<json> records;
    s.engine->setDecisionListener([&records](const json& record) { records.push_back(record); });
    s.engine->onEventDataReceived(json{{"xwhat", "purchase"}, {"xcontext", {{"price", 9}}}});
    ASSERT_TRUE(s.waitForOutcomes("/push/sdk/event/trigger"));
    const auto trigger = s.server.requestsTo("/push/sdk/event/trigger")[0].body;
    EXPECT_EQ(trigger["events"][0]["xwhat"], "purchase");
    EXPECT_EQ(trigger["os"]["packageName"], "com.corvane.test");
    EXPECT_NE(s.log().find("触发事件成功!事件名：purchase"), std::string::npos);
    EXPECT_EQ(s.server.requestsTo("/push/sdk/event/trigger").size(), 1u);
    ASSERT_TRUE(s.waitFor([&] { return !records.empty(); }));
    EXPECT_EQ(records[0]["event"], (json{{"xwhat", "purchase"}, {"source", 0}}));
    EXPECT_EQ(records[0]["campaigns"][0], (json{{"id", "201"}, {"kind", "subscribe"}, {"verdict", "sentToServer"}}));
}

}  // namespace corvane
