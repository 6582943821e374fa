#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "OTDevServer.h"

#include "core/OTCampaignStore.h"
#include "core/OTPushManager.h"
#include "core/OTSDKManager.h"
#include "model/OTWindowData.h"
#include "model/OTWindowRecordTree.h"
#include "platform/OTMethodRuntime.h"
#include "platform/OTPageClassRegistry.h"
#include "server/OTEventReporter.h"
#include "server/OTLoginClient.h"
#include "server/OTNetwork.h"
#include "server/OTServerSession.h"
#include "services/OTUserConfig.h"
#include "support/OTCampaignLoader.h"
#include "support/OTRecordingPresenter.h"
#include "support/OTSDKManagerProbe.h"
#include "support/OTTestEnvironment.h"
#include "view/OTNavigationController.h"
#include "view/OTTabBarController.h"
#include "view/OTWindow.h"

namespace corvane {

using nlohmann::json;
using namespace std::chrono_literals;

TEST(OTDialogFlow, FromEventToDialogToNavigationAndOnToTheNextCampaign) {
    OTTestEnvironment test;
    const auto stack = test.installHostApp().stack;
    auto presenter = std::make_shared<OTRecordingPresenter>();
    OTPopWindowManager::sharedManager()->setPresenter(presenter);

    auto engine = OTSDKManager::sharedManager()->managerWithGroupIdentifier("group.demo");
    engine->session().setConfiguration(std::make_shared<CorvaneOtConfig>());
    OTDevServer server({OT_SAMPLE_CAMPAIGNS});
    ASSERT_TRUE(server.start());
    engine->session().network()->setConfig(OTNetworkConfig::withBaseURL(server.baseURL()));
    engine->session().setUserId("u1");
    engine->login().loginWithCompletion({});
    ASSERT_TRUE(test.scheduler().runUntil([&] { return engine->session().token().has_value(); }, 10s));
    OTCampaignLoader::load(*engine,
                           {json::parse(R"({"id":"1","type":1,"count":2,"closeDialogType":2,
                                                    "preEvents":[{"xwhat":"buy"}],"event":{"xwhat":"buy","delay":1.5},
                                                    "title":{"text":"Hi ${event.name}"},
                                                    "buttonRight":{"text":"Go",
                                                      "clickEvent":" DetailVC?id=${event.id}&name=Ann Lee "}})"),
                            json{{"id", "2"}, {"type", 1}, {"count", 2}, {"preEvents", {{{"xwhat", "buy"}}}}}});

    engine->onEventDataReceived(json{{"xwhat", "buy"}, {"xcontext", {{"name", "Ann"}}}});
    test.scheduler().runUntilIdle();
    test.scheduler().advance(1699ms);
    EXPECT_TRUE(presenter->shown.empty());
    test.scheduler().advance(1ms);  // delay 1.5 + 0.2 s
    ASSERT_EQ(presenter->shownIds(), std::vector<std::string>{"1"});
    EXPECT_EQ(presenter->shown[0].data->title()->text(), "Hi Ann");

    // The right button: a click is recorded, the campaign banned for good, the page opened 0.6 s
    // later with its declared properties, and matching goes on (the link is no web address).
    const auto link = presenter->shown[0].data->rightBtnAttribute()->eventLink();
    presenter->react(5, link);
    test.scheduler().runUntilIdle();  // recorded on the event queue
    auto node = engine->campaigns().windowRecordTree()->findWindowNodeById(1);
    EXPECT_EQ(node->clickCount(), 1);
    EXPECT_TRUE(node->forbidden());
    test.scheduler().advance(599ms);
    EXPECT_EQ(stack->viewControllers().size(), 1u);
    test.scheduler().advance(1ms);
    ASSERT_EQ(stack->viewControllers().size(), 2u);
    EXPECT_EQ(stack->topViewController()->className(), "DetailVC");
    EXPECT_EQ(stack->topViewController()->propertyValues(),
              (std::map<std::string, std::string>{{"id", "${event.id}"}, {"name", "AnnLee"}}));
    EXPECT_EQ(presenter->shownIds(), (std::vector<std::string>{"1", "2"}));

    // The reports reach the server in any order: each arrives on its own connection.
    ASSERT_TRUE(
        test.scheduler().runUntil([&] { return server.requestsTo(OTEventReporter::kReportPath).size() >= 3; }, 10s));
    std::vector<std::string> reports;
    for (const auto& request : server.requestsTo(OTEventReporter::kReportPath)) {
        const auto& event = request.body["events"].at(0);
        reports.push_back(event["xwhat"].get<std::string>() + ":" + event["xcontext"]["$dialog_type"].dump() + ":" +
                          event["xcontext"]["activityId"].get<std::string>() + ":" +
                          event["xcontext"].value("dialog_button_text", "-") + ":" + event["xcontext"]["name"].dump());
    }
    std::sort(reports.begin(), reports.end());
    EXPECT_EQ(reports, (std::vector<std::string>{"$clickDialog:5:1:Go:\"Ann\"", "$impDialog:1:1:-:\"Ann\"",
                                                 "$impDialog:1:2:-:\"Ann\""}));
    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(std::string("group.demo"));
    EXPECT_EQ(settings->dailyPopWindowCount(), 4u);  // two old-rule showings, each counted twice
}

TEST(OTDialogFlow, BadLinksAndCampaignsNeverBreakTheFlow) {
    OTTestEnvironment test;
    auto home = std::make_shared<OTViewController>("HomeVC");
    test.uiHost().setWindows({std::make_shared<OTWindow>(OTNavigationController::withRoot(home))});
    auto push = OTPushManager::sharedManager();
    std::mt19937 random(9);
    const std::string pieces[] = {"Detail", "?", "&", "=", " ", "://", "https", "中文", "%", "\xFF", "${", "}", "a"};
    for (int round = 0; round < 300; ++round) {
        std::string link;
        for (unsigned n = random() % 12; n > 0; --n) link += pieces[random() % std::size(pieces)];
        push->handlePush(link);
    }
    push->handlePush(std::string(100'000, 'a') + "://" + std::string(100'000, 'b'));
    push->handlePush("Detail?" + std::string(100'000, '&'));
    push->handlePush(std::optional<std::string>());
    test.scheduler().advance(1s);

    // Campaigns with empty pre-event lists are passed over.
    auto engine = OTSDKManager::sharedManager();
    auto data = std::make_shared<OTWindowData>();
    data->setModelWithDic(json{{"id", "1"}, {"type", 1}, {"preEvents", json::array()}});
    engine->campaigns().setInAppDataArray({data});
    OTSDKManagerProbe::onLane(*engine, [](OTSDKManager& lane) {
        lane.triggerEventMatchWithData(json{{"xwhat", "buy"}});
    });
    EXPECT_EQ(engine->currentMatchEventIndex(), 0);
    test.scheduler().advance(1s);
}

TEST(OTDialogFlow, ShowingsAndSequenceStepsLeaveThePublishedCampaignsAsTheyWere) {
    OTTestEnvironment test;
    test.installHostApp();
    auto presenter = std::make_shared<OTRecordingPresenter>();
    OTPopWindowManager::sharedManager()->setPresenter(presenter);
    auto engine = OTSDKManager::sharedManager()->managerWithGroupIdentifier("group.demo");
    engine->session().setConfiguration(std::make_shared<CorvaneOtConfig>());
    // Shown again one second after a close, as often as the user likes.
    const json rules = json::array({{{"eventType", "$clickDialog"}, {"type", 3}, {"count", 9}, {"intervalValue", 0}},
                                    {{"eventType", "$closeDialog"}, {"type", 3}, {"count", 9}, {"intervalValue", 0}}});
    OTCampaignLoader::load(
        *engine,
        {json{{"id", "1"},
              {"type", 1},
              {"count", 9},
              {"preEvents", {{{"xwhat", "greet"}}}},
              {"title", {{"text", "Hello ${event.name}"}}},
              {"dialogRule", rules}},
         json{{"id", "2"}, {"type", 1}, {"count", 9}, {"preEvents", {{{"xwhat", "open"}}, {{"xwhat", "greet"}}}}}});

    const auto greet = [&](const char* name) {
        engine->onEventDataReceived(json{{"xwhat", "greet"}, {"xcontext", {{"name", name}}}});
        test.scheduler().advance(1s);
    };
    greet("Alice");
    ASSERT_EQ(presenter->shownIds(), std::vector<std::string>{"1"});
    presenter->react(3);
    greet("Bob");
    ASSERT_EQ(presenter->shownIds(), (std::vector<std::string>{"1", "1"}));
    EXPECT_EQ(presenter->shown[0].data->title()->text(), "Hello Alice");
    EXPECT_EQ(presenter->shown[1].data->title()->text(), "Hello Bob");
    EXPECT_EQ(engine->campaigns().inAppDataArray()[0]->title()->text(), "Hello ${event.name}");

    // A sequence step swaps in a copy: a list read before the step still sees both pre-events.
    presenter->react(3);
    const auto before = engine->campaigns().inAppDataArray();
    engine->onEventDataReceived(json{{"xwhat", "open"}});
    test.scheduler().advance(1s);
    EXPECT_EQ(before[1]->preEvents().size(), 2u);
    const auto after = engine->campaigns().inAppDataArray();
    ASSERT_EQ(after[1]->preEvents().size(), 1u);
    EXPECT_EQ(after[1]->preEvents()[0]->xwhat(), "greet");
    EXPECT_EQ(after[0], before[0]);
    EXPECT_EQ(presenter->shown.size(), 2u);  // an event that only advances a sequence shows nothing
}

TEST(OTDialogFlow, MethodImplementationsExchange) {
    OTTestEnvironment test;
    auto runtime = OTMethodRuntime::shared();
    std::vector<std::string> trace;
    runtime->setImplementation("UIViewController",
                               "viewDidAppear:", [&](auto&, auto&, auto&) { trace.push_back("appear"); });
    runtime->defineClass("Page", "UIViewController");
    runtime->addMethod("Page", "ot_viewDidAppear:", [&](auto&, auto&, auto&) { trace.push_back("ot"); });
    EXPECT_TRUE(runtime->ot_exchangeOriginalSel("Page", "viewDidAppear:", "ot_viewDidAppear:"));
    runtime->invoke("Page", nullptr, "viewDidAppear:", {});
    runtime->invoke("Page", nullptr, "ot_viewDidAppear:", {});
    runtime->invoke("UIViewController", nullptr, "viewDidAppear:", {});
    EXPECT_EQ(trace, (std::vector<std::string>{"ot", "appear", "appear"}));
    EXPECT_FALSE(runtime->ot_exchangeOriginalSel("Page", "missing:", "ot_viewDidAppear:"));
}

}  // namespace corvane
