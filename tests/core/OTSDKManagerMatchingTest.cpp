#include <gtest/gtest.h>

#include "core/OTCampaignStore.h"
#include "core/OTDialogFlow.h"
#include "core/OTPopWindowManager.h"
#include "core/OTSDKManager.h"
#include "corvane/CorvaneOtManager.h"
#include "facade/OTHostPages.h"
#include "model/OTWindowRecordTree.h"
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

namespace {
struct Engine {
    OTTestEnvironment test;
    std::shared_ptr<OTSDKManager> engine = OTSDKManager::sharedManager()->managerWithGroupIdentifier("group.demo");
    std::shared_ptr<OTRecordingPresenter> presenter = std::make_shared<OTRecordingPresenter>();
    std::shared_ptr<OTUserConfig> settings =
        OTUserConfig::defaultConfig()->configWithGroupIdentifier(std::string("group.demo"));

    // Every pass's decision record, as the host's listener hears them.
    std::vector<json> records;

    Engine() {
        OTPopWindowManager::sharedManager()->setPresenter(presenter);
        engine->session().setConfiguration(std::make_shared<CorvaneOtConfig>());
        engine->setDecisionListener([this](const json& record) { records.push_back(record); });
    }

    void campaigns(const std::vector<json>& list) { OTCampaignLoader::load(*engine, list); }

    std::shared_ptr<OTWindowRecordTreeNode> node(std::int64_t id) {
        return engine->campaigns().windowRecordTree()->findWindowNodeById(id);
    }

    // Matched on the event queue, after whatever is queued there already, as the host's are.
    void send(const json& event) {
        engine->onLane([event](OTSDKManager& lane) { lane.triggerEventMatchWithData(event); });
        test.scheduler().runUntilIdle();
    }
    void settle() { test.scheduler().advance(1s); }
};

// A record's campaigns as "id verdict reason" each, in the order they were decided.
std::vector<std::string> verdicts(const json& record) {
    std::vector<std::string> lines;
    for (const auto& c : record["campaigns"]) {
        lines.push_back(c["id"].get<std::string>() + " " + c["verdict"].get<std::string>() + " " +
                        c.value("reason", std::string("-")));
    }
    return lines;
}

json eventCampaign(const char* id, const char* what, json extra = json::object()) {
    json c = {{"id", id}, {"type", 1}, {"style", 3}, {"preEvents", {{{"xwhat", what}}}}};
    c.update(extra);
    return c;
}
}  // namespace

TEST(OTSDKManagerMatching, TheFirstEligibleCampaignInOrderIsShownAfterItsDelay) {
    Engine e;
    e.campaigns({eventCampaign("1", "other"), eventCampaign("2", "buy", {{"count", 1}}),
                 eventCampaign("3", "buy", {{"event", {{"xwhat", "buy"}, {"delay", 3}}}})});
    e.send({{"xwhat", "buy"}});
    EXPECT_EQ(e.engine->currentMatchEventIndex(), 1);
    e.test.scheduler().advance(199ms);
    EXPECT_TRUE(e.presenter->shown.empty());
    e.test.scheduler().advance(1ms);  // 0.2 s: no condition delay
    EXPECT_EQ(e.presenter->shownIds(), std::vector<std::string>{"2"});
    // The old rule counts the showing twice, and the shown dialog marks its last showing.
    EXPECT_EQ(e.node(2)->usedCount(), 1);  // clamped by its count of 1
    EXPECT_EQ(e.settings->dailyPopWindowCount(), 2u);
    EXPECT_EQ(e.node(2)->lastPopTime(), e.test.clock().now());
    EXPECT_TRUE(e.node(2)->activated());

    // Closing goes on to the next campaign, whose condition delays it 3 s more.
    e.presenter->react(3);
    e.test.scheduler().runUntilIdle();
    e.test.scheduler().advance(3199ms);
    EXPECT_EQ(e.presenter->shown.size(), 1u);
    e.test.scheduler().advance(1ms);
    EXPECT_EQ(e.presenter->shownIds(), (std::vector<std::string>{"2", "3"}));
    EXPECT_EQ(e.node(2)->closeCount(), 1);

    // The first pass's record came once its dialog was on screen; the close started another.
    ASSERT_EQ(e.records.size(), 2u);
    EXPECT_EQ(e.records[0]["event"], (json{{"xwhat", "buy"}, {"source", nullptr}}));
    EXPECT_EQ(e.records[0]["pass"], "event");
    EXPECT_EQ(verdicts(e.records[0]),
              (std::vector<std::string>{"1 notMatched eventName", "2 shown -", "3 notExamined passEnded"}));
    EXPECT_EQ(e.records[0]["campaigns"][0]["expected"], "other");
    EXPECT_EQ(e.records[0]["campaigns"][0]["actual"], "buy");
    EXPECT_EQ(e.records[0]["campaigns"][1]["delay"], 0.2);
    EXPECT_EQ(e.records[0]["campaigns"][2]["endedBy"], "2");
    EXPECT_EQ(e.records[0]["campaigns"][2]["because"], "scheduled");
    EXPECT_EQ(e.records[1]["pass"], "afterReaction");
    EXPECT_EQ(e.records[1]["startIndex"], 2);
    EXPECT_EQ(verdicts(e.records[1]), std::vector<std::string>{"3 shown -"});
    EXPECT_EQ(e.records[1]["campaigns"][0]["delay"], 3.2);

    // No listener, no record.
    e.engine->setDecisionListener(nullptr);
    e.presenter->react(3);
    e.send({{"xwhat", "buy"}});
    e.settle();
    EXPECT_EQ(e.records.size(), 2u);
}

TEST(OTSDKManagerMatching, HeldBackDialogsAreNeitherShownNorCountedNorPassedOver) {
    struct Showing : OTDialogView {
        bool isShowing() const override { return true; }
        std::optional<std::string> campaignId() const override { return "7"; }
    };
    Engine e;
    e.campaigns({eventCampaign("1", "buy", {{"count", 5}}), eventCampaign("2", "buy", {{"count", 5}})});
    CorvaneOtManager::setDialogVisible(false);
    e.send({{"xwhat", "buy"}});
    e.settle();
    EXPECT_TRUE(e.presenter->shown.empty());
    EXPECT_EQ(e.node(1)->usedCount(), 0);
    EXPECT_EQ(e.engine->currentMatchEventIndex(), 0);
    ASSERT_EQ(e.records.size(), 1u);
    EXPECT_EQ(verdicts(e.records[0]),
              (std::vector<std::string>{"1 heldBack dialogsHidden", "2 notExamined passEnded"}));
    EXPECT_EQ(e.records[0]["campaigns"][1]["because"], "heldBack");

    // While a dialog is on screen no in-app campaign is matched, and the event does not wait.
    CorvaneOtManager::setDialogVisible(true);
    auto view = std::make_shared<Showing>();
    OTPopWindowManager::sharedManager()->handlePopWindow(view);
    OTPopWindowManager::sharedManager()->handlePopWindow(view);
    EXPECT_EQ(OTPopWindowManager::sharedManager()->popWindows().size(), 1u);
    e.send({{"xwhat", "buy"}});
    e.settle();
    EXPECT_TRUE(e.presenter->shown.empty());
    EXPECT_TRUE(e.engine->waitingEvents().empty());
    ASSERT_EQ(e.records.size(), 2u);
    EXPECT_EQ(e.records[1]["verdict"], "heldBack");
    EXPECT_EQ(e.records[1]["reason"], "dialogOnScreen");
    EXPECT_EQ(e.records[1]["id"], "7");
}

TEST(OTSDKManagerMatching, ADialogWaitingForItsDelayHoldsTheNextEventBackAsOneOnScreen) {
    Engine e;
    e.campaigns({eventCampaign("1", "buy", {{"count", 5}, {"event", {{"xwhat", "buy"}, {"delay", 1}}}}),
                 eventCampaign("2", "view", {{"count", 5}})});
    e.send({{"xwhat", "buy"}});
    e.test.scheduler().advance(300ms);
    // Inside the first dialog's delay: held back, neither shown, counted nor passed over.
    e.send({{"xwhat", "view"}});
    e.test.scheduler().advance(899ms);
    EXPECT_TRUE(e.presenter->shown.empty());
    e.test.scheduler().advance(1ms);
    EXPECT_EQ(e.presenter->shownIds(), std::vector<std::string>{"1"});
    e.settle();
    EXPECT_EQ(e.presenter->shownIds(), std::vector<std::string>{"1"});
    EXPECT_EQ(e.node(2)->usedCount(), 0);
    EXPECT_TRUE(e.engine->waitingEvents().empty());
    ASSERT_EQ(e.records.size(), 2u);
    EXPECT_EQ(e.records[0]["event"]["xwhat"], "view") << "closed at once, before the dialog it waited on";
    EXPECT_EQ(e.records[0]["verdict"], "heldBack");
    EXPECT_EQ(e.records[0]["reason"], "dialogScheduled");
    EXPECT_EQ(e.records[0]["id"], "1");
    EXPECT_TRUE(e.records[0]["campaigns"].empty());
    EXPECT_EQ(verdicts(e.records[1]), (std::vector<std::string>{"1 shown -", "2 notExamined passEnded"}));

    // Closed, it lets the next event through.
    e.presenter->react(3);
    e.send({{"xwhat", "view"}});
    e.settle();
    EXPECT_EQ(e.presenter->shownIds(), (std::vector<std::string>{"1", "2"}));
}

TEST(OTSDKManagerMatching, SequencesAdvanceWithoutShowing) {
    Engine e;
    e.campaigns({{{"id", "1"}, {"type", 1}, {"count", 5}, {"preEvents", {{{"xwhat", "A"}}, {{"xwhat", "B"}}}}},
                 {{"id", "2"}, {"type", 1}, {"count", 5}, {"preEvents", {{{"xwhat", "A"}}, {{"xwhat", "C"}}}}},
                 {{"id", "3"}, {"type", 1}, {"count", 5}, {"preEvents", {{{"xwhat", "A"}}}}}});
    e.send({{"xwhat", "X"}});  // matches no first step: walks all and ends
    EXPECT_EQ(e.engine->currentMatchEventIndex(), 2);
    e.send({{"xwhat", "A"}});
    e.settle();
    EXPECT_TRUE(e.presenter->shown.empty());  // only advanced sequences; campaign 3 not examined
    EXPECT_EQ(e.engine->currentMatchEventIndex(), 0);
    EXPECT_EQ(e.engine->campaigns().inAppDataArray()[0]->preEvents().size(), 1u);
    EXPECT_EQ(e.engine->campaigns().inAppDataArray()[1]->preEvents().size(), 1u);
    EXPECT_EQ(e.engine->campaigns().inAppDataArray()[2]->preEvents().size(), 1u);  // a single step is never removed
    e.send({{"xwhat", "C"}});
    e.settle();
    EXPECT_EQ(e.presenter->shownIds(), std::vector<std::string>{"2"});

    ASSERT_EQ(e.records.size(), 3u);
    EXPECT_EQ(
        verdicts(e.records[0]),
        (std::vector<std::string>{"1 notMatched sequenceStep", "2 notMatched sequenceStep", "3 notMatched eventName"}));
    EXPECT_EQ(e.records[0]["campaigns"][1]["expected"], "A");
    EXPECT_EQ(e.records[0]["campaigns"][1]["of"], 2);
    EXPECT_EQ(verdicts(e.records[1]),
              (std::vector<std::string>{"1 advanced -", "2 notExamined passEnded", "3 notExamined passEnded"}));
    EXPECT_EQ(e.records[1]["campaigns"][0]["next"], "B");
    EXPECT_EQ(e.records[1]["campaigns"][0]["moved"], (json{"1", "2"}));
    EXPECT_EQ(e.records[1]["campaigns"][2]["because"], "advanced");
}

TEST(OTSDKManagerMatching, EventsWaitWithoutCampaignsAndTheWalkEndsAtTheList) {
    Engine e;
    e.send({{"xwhat", "$pageview"}});
    EXPECT_EQ(e.engine->waitingEvents().size(), 1u);
    e.campaigns({eventCampaign("1", "buy", {{"count", 5}})});
    OTSDKManagerProbe::onLane(*e.engine, [](OTSDKManager& lane) {
        lane.triggerEventMatchInApp(lane.currentTriggerEvent(), 1);  // past the end: nothing
        lane.triggerEventMatchInApp(nullptr, 0);
    });
    e.settle();
    EXPECT_TRUE(e.presenter->shown.empty());
    ASSERT_EQ(e.records.size(), 2u);  // the walk past the end examined nothing
    EXPECT_EQ(e.records[0]["verdict"], "waiting");
    EXPECT_EQ(e.records[0]["reason"], "noCampaignsYet");
    EXPECT_EQ(e.records[0]["waiting"], 1);
    EXPECT_EQ(e.records[0]["max"], 5);
    EXPECT_TRUE(e.records[0]["campaigns"].empty());
    EXPECT_EQ(e.records[1]["pass"], "walk");
    EXPECT_TRUE(e.records[1]["campaigns"].empty());
}

TEST(OTSDKManagerMatching, TenThousandCampaignsWalkWithoutDeepeningTheStack) {
    Engine e;
    std::vector<std::shared_ptr<const OTWindowData>> data;
    for (int i = 0; i < 10000; ++i) {
        auto d = std::make_shared<OTWindowData>();
        d->setModelWithDic(eventCampaign(std::to_string(i + 1).c_str(), i == 9999 ? "buy" : "other"));
        data.push_back(d);
    }
    e.engine->campaigns().setInAppDataArray(data);
    auto node = std::make_shared<OTWindowRecordTreeNode>();
    node->setNodeId(10000);
    node->setCount(1);
    e.engine->campaigns().windowRecordTree()->addTreeNode(node);
    e.send({{"xwhat", "buy"}});
    e.settle();
    EXPECT_EQ(e.presenter->shownIds(), std::vector<std::string>{"10000"});
    // The record lists a hundred campaigns, the one shown among them, and counts the rest.
    ASSERT_EQ(e.records.size(), 1u);
    const auto& campaigns = e.records[0]["campaigns"];
    ASSERT_EQ(campaigns.size(), 101u);
    EXPECT_EQ(campaigns[100]["id"], "10000");
    EXPECT_EQ(campaigns[100]["verdict"], "shown");
    EXPECT_EQ(e.records[0]["omitted"], (json{{"inApp", {{"notMatched", 9899}}}}));
}

TEST(OTSDKManagerMatching, ReactionsRecordForbidFollowAndDecideWhetherToGoOn) {
    Engine e;
    e.campaigns({eventCampaign("1", "buy",
                               {{"count", 9},
                                {"closeDialogType", 1},
                                {"dialogRule",
                                 {{{"eventType", "click"}, {"type", 1}, {"count", 5}},
                                  {{"eventType", "close"}, {"type", 1}, {"count", 5}}}}}),
                 eventCampaign("2", "buy", {{"count", 9}})});
    e.send({{"xwhat", "buy"}});
    e.settle();
    ASSERT_EQ(e.presenter->shownIds(), std::vector<std::string>{"1"});
    // A click on a page of the app is a universal link: matching stops there.
    e.presenter->react(4, std::string("https://example.com"));
    e.settle();
    EXPECT_EQ(e.presenter->shown.size(), 1u);
    EXPECT_EQ(e.node(1)->clickCount(), 1);
    EXPECT_EQ(e.node(1)->lastEventType(), "click");
    EXPECT_TRUE(e.node(1)->forbidden());  // close type 1: for the rest of the day
    // A click on any other link goes on to the next campaign.
    e.presenter->react(5, std::string("app://elsewhere"));
    e.settle();
    EXPECT_EQ(e.presenter->shownIds(), (std::vector<std::string>{"1", "2"}));

    EXPECT_FALSE(OTDialogFlow::_handleWindowClickCallback(1, std::nullopt));
    EXPECT_TRUE(OTDialogFlow::_handleWindowClickCallback(3, std::string("https://x")));
    EXPECT_TRUE(OTDialogFlow::_handleWindowClickCallback(2, std::nullopt));
    EXPECT_FALSE(OTDialogFlow::_handleWindowClickCallback(7, std::nullopt));
}

TEST(OTSDKManagerMatching, AReactionGoesOnFromItsOwnEventsPlaceWhateverWalkedSince) {
    Engine e;
    e.campaigns({eventCampaign("1", "buy", {{"count", 9}}), eventCampaign("2", "other", {{"count", 9}}),
                 eventCampaign("3", "buy", {{"count", 9}}), eventCampaign("4", "view", {{"count", 9}})});
    e.send({{"xwhat", "buy"}});
    e.settle();
    // Another event walks to the end of the list while the first dialog is still up.
    e.send({{"xwhat", "view"}});
    e.settle();
    ASSERT_EQ(e.presenter->shownIds(), (std::vector<std::string>{"1", "4"}));
    // A click that stays in the app goes on with "buy" from the campaign after its own.
    e.presenter->shown[0].action(5, std::string("app://elsewhere"));
    e.settle();
    EXPECT_EQ(e.presenter->shownIds(), (std::vector<std::string>{"1", "4", "3"}));
}

TEST(OTSDKManagerMatching, FirstPageViewCampaigns) {
    Engine e;
    auto home = std::make_shared<OTViewController>("HomeVC");
    auto tabs = std::make_shared<OTTabBarController>();
    tabs->setViewControllers({OTNavigationController::withRoot(home),
                              OTNavigationController::withRoot(std::make_shared<OTViewController>("MineVC"))});
    auto window = std::make_shared<OTWindow>(tabs);
    e.test.uiHost().setWindows({window});

    e.campaigns({{{"id", "1"}, {"type", 0}, {"count", 9}},
                 {{"id", "2"},
                  {"type", 0},
                  {"count", 9},
                  {"event", {{"xwhat", "$pageview"}, {"xcontext", {{"$url", "HomeVC"}}}}}}});
    // No main page: the first page view of any page fires a campaign without condition.
    e.send({{"xwhat", "$pageview"}, {"xcontext", {{"$url", "MineVC"}}}});
    e.settle();
    EXPECT_EQ(e.presenter->shownIds(), std::vector<std::string>{"1"});

    // With a main page, another page's view never fires; the main page's first view does.
    Engine m;
    m.test.uiHost().setWindows({window});
    auto config = std::make_shared<CorvaneOtConfig>();
    config->setMainPage("HomeVC");
    m.engine->session().setConfiguration(config);
    m.engine->autoPageCollected(home);
    m.engine->autoPageCollected(std::make_shared<OTViewController>("MineVC"));
    m.test.scheduler().runUntilIdle();  // kept by the event queue
    EXPECT_EQ(m.engine->mainPageController(), home);
    m.campaigns({{{"id", "2"},
                  {"type", 0},
                  {"count", 9},
                  {"event", {{"xwhat", "$pageview"}, {"xcontext", {{"$url", "HomeVC"}}}}}}});
    const json homeView = {{"xwhat", "$pageview"}, {"xcontext", {{"$url", "HomeVC"}}}};
    OTSDKManagerProbe::onLane(*m.engine, [&](OTSDKManager& lane) {
        lane.handleUserProfileUpload(json{{"xwhat", "$pageview"}, {"xcontext", {{"$url", "MineVC"}}}}, 0);
    });
    m.send({{"xwhat", "$pageview"}, {"xcontext", {{"$url", "MineVC"}}}});
    // Covered by a splash screen: the view is kept for later and the counter starts again.
    window->addSubview("SplashView");
    OTSDKManagerProbe::onLane(*m.engine, [&](OTSDKManager& lane) { lane.handleUserProfileUpload(homeView, 0); });
    m.send(homeView);
    m.settle();
    EXPECT_TRUE(m.presenter->shown.empty());
    EXPECT_EQ(m.engine->mainPagePVCount(), 0);
    ASSERT_NE(m.engine->cachedFirstPVEventOfMainPage(), nullptr);
    window->removeSubview("SplashView");
    OTSDKManagerProbe::onLane(*m.engine, [&](OTSDKManager& lane) { lane.handleUserProfileUpload(homeView, 0); });
    m.send(homeView);
    m.settle();
    EXPECT_EQ(m.presenter->shownIds(), std::vector<std::string>{"2"});
    // The second view of the main page does not fire again.
    m.presenter->react(3);
    OTSDKManagerProbe::onLane(*m.engine, [&](OTSDKManager& lane) { lane.handleUserProfileUpload(homeView, 0); });
    m.send(homeView);
    m.settle();
    EXPECT_EQ(m.presenter->shown.size(), 1u);

    // A host that draws for itself: its main page is one it pushes, whose view fires only once the
    // host has reported showing that page.
    Engine d;
    d.test.uiHost().setWindows({std::make_shared<OTWindow>(OTNavigationController::withRoot(home))});
    auto detailMain = std::make_shared<CorvaneOtConfig>();
    detailMain->setMainPage("DetailVC");
    d.engine->session().setConfiguration(detailMain);
    d.engine->startPageCollection();
    d.campaigns({{{"id", "5"}, {"type", 0}, {"count", 9}}});
    const json detailView = {{"xwhat", "$pageview"}, {"xcontext", {{"$url", "DetailVC"}}}};
    d.send(detailView);
    d.settle();
    EXPECT_TRUE(d.presenter->shown.empty());
    EXPECT_EQ(d.records.back()["campaigns"][0]["case"], "urlDiffers");
    OTHostPages::pageShown("DetailVC");
    d.test.scheduler().runUntilIdle();
    ASSERT_NE(d.engine->mainPageController(), nullptr);
    EXPECT_EQ(d.engine->mainPageController()->className(), "DetailVC");
    OTSDKManagerProbe::onLane(*d.engine, [&](OTSDKManager& lane) { lane.handleUserProfileUpload(detailView, 0); });
    d.send(detailView);
    d.settle();
    EXPECT_EQ(d.presenter->shownIds(), std::vector<std::string>{"5"});

    ASSERT_EQ(e.records.size(), 1u);
    EXPECT_EQ(verdicts(e.records[0]), (std::vector<std::string>{"1 shown -", "2 notExamined passEnded"}));
    std::vector<std::string> cases;
    for (const auto& record : m.records) {
        for (const auto& c : record["campaigns"])
            cases.push_back(c["verdict"].get<std::string>() + " " + c.value("case", ""));
    }
    EXPECT_EQ(cases, (std::vector<std::string>{"notMatched urlDiffers", "heldBack mainPageCovered", "shown ",
                                               "notMatched mainPageSeenBefore"}));
    const auto& covered = m.records[1]["campaigns"][0];
    EXPECT_EQ(covered["kept"], true);
    EXPECT_EQ(covered["url"], "HomeVC");
    EXPECT_EQ(covered["mainPage"], "HomeVC");
    EXPECT_EQ(m.records.back()["campaigns"][0]["mainPageViews"], 2);
}

}  // namespace corvane
