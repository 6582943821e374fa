#include <gtest/gtest.h>

#include "core/OTPopWindowManager.h"
#include "foundation/OTFiles.h"
#include "model/OTBanner.h"
#include "model/OTBannerRecordTree.h"
#include "model/OTBannerRecordTreeNode.h"
#include "model/OTEvent.h"
#include "render/OTHeadlessUIHost.h"
#include "services/OTDataArchiver.h"
#include "services/OTUserConfig.h"
#include "support/OTHeldEngine.h"
#include "support/OTSDKManagerProbe.h"
#include "ui/OTBannerManager.h"
#include "ui/OTBannerView.h"

namespace corvane {

using namespace std::chrono_literals;
using nlohmann::json;

namespace {
const json kCampaigns = json::parse(R"([
  {"id": "301", "style": 2, "locationId": "home_top", "startTime": "2024-04-01 00:00:00",
   "endTime": "2024-05-10 00:00:00", "clickEvent": "DetailVC?id=7",
   "resource": {"picture": [{"url": "https://img.example.com/coupon.png"}]},
   "events": [{"xwhat": "claim_coupon"}, {"xwhat": "$pageview"}]},
  {"id": "305", "style": 5, "locationId": "carousel",
   "resource": {"picture": [{"url": "https://img.example.com/1.png"}, {"url": "https://img.example.com/2.png"}]},
   "events": [{"xwhat": "$pageview"}]}
])");
const json kDefaults = json::parse(R"([
  {"id": "300", "style": 1, "locationId": "home_top", "content": {"text": "默认"},
   "resource": {"picture": [{"url": "https://img.example.com/default.png"}]}}
])");

std::string answer(const json& data) { return json{{"code", 0}, {"message", "success"}, {"data", data}}.dump(); }

// The engine with its banner manager; banner requests answered at once from the lists given.
struct BannerRig : OTHeldEngine {
    BannerRig() {
        OTUserConfig::defaultConfig()->configWithGroupIdentifier("group.demo")->setToken("token-1");
        OTUserConfig::defaultConfig()->configWithGroupIdentifier("group.demo")->setUserId("user-1");
        manager = OTBannerManager::sharedManager();
        engine->setBannerHandler(manager);
        serve(kCampaigns, kDefaults);
    }
    void serve(json campaigns, json defaults) {
        transport->setAnswerAtOnce([campaigns, defaults](const OTHeldTransport::Held& held) {
            if (held.isFor(OTBannerManager::kBannerPath)) return answer(campaigns);
            if (held.isFor(OTBannerManager::kDefaultBannerPath)) return answer(defaults);
            return answer(json::array());
        });
    }
    void download() {
        manager->loadBannerDefault(std::string("group.demo"));
        manager->loadBanner(std::string("group.demo"));
        test.scheduler().runUntilIdle();
    }
    std::shared_ptr<CorvaneBannerConfig> config(const char* location, std::shared_ptr<OTSceneNode> container,
                                                bool hides = false) {
        auto made = std::make_shared<CorvaneBannerConfig>();
        made->setLocationId(location);
        made->setContainer(container);
        made->setHidesWhenNotAvailable(hides);
        return made;
    }
    static std::vector<std::shared_ptr<OTBannerView>> bannersIn(const std::shared_ptr<OTSceneNode>& view) {
        std::vector<std::shared_ptr<OTBannerView>> found;
        for (const auto& child : view->contentView()->subviews()) {
            if (auto banner = std::dynamic_pointer_cast<OTBannerView>(child)) found.push_back(banner);
        }
        return found;
    }
    void event(const char* name) {
        auto incoming = std::make_shared<OTEvent>();
        incoming->setModelWithDic(json{{"xwhat", name}});
        manager->triggerEventMatch(incoming, nullptr);
    }
    std::shared_ptr<OTBannerRecordTreeNode> node(std::int64_t id) const {
        return std::dynamic_pointer_cast<OTBannerRecordTreeNode>(manager->bannerRecordTree()->findTreeNodeById(id));
    }

    std::shared_ptr<OTBannerManager> manager;
};
}  // namespace

TEST(OTBannerManager, ARequestWaitsForTheFirstDownloadsThenFillsItsCellAndReloadsTheTableWhicheverListLandsFirst) {
    BannerRig r;
    auto table = OTHeadlessUIHost::makeTableViewWithCell({375, 260});
    const auto cell = table->subviews().front();
    int reloads = 0;
    table->addAction(OTSceneNode::kReloadData, [&reloads] { ++reloads; });

    EXPECT_EQ(r.manager->renderBanner(r.config("home_top", cell)), (OTSize{}));
    EXPECT_EQ(r.manager->waitingBannerConfigs().size(), 1u);
    EXPECT_TRUE(r.bannersIn(cell).empty());

    r.download();
    // The campaign banner is not armed yet: the location's default banner shows in the content view.
    const auto shown = r.bannersIn(cell);
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0]->banner()->bannerID(), "300");
    EXPECT_EQ(shown[0]->superview()->name(), OTSceneNode::kContentViewName);
    EXPECT_EQ(reloads, 1);
    EXPECT_EQ(r.test.uiHost().records().back(), "reloadData table");
    EXPECT_TRUE(r.manager->waitingBannerConfigs().empty());

    // The request bodies: default banners also carry the device and the package. (The pictures
    // were fetched through the same transport.)
    std::vector<OTHeldTransport::Held> sent;
    for (const auto& held : r.transport->sent()) {
        if (held.request.url.find("/push/") != std::string::npos) sent.push_back(held);
    }
    ASSERT_EQ(sent.size(), 2u);
    const auto defaults = sent[0].body();
    EXPECT_EQ(defaults["newUser"], 1);
    EXPECT_EQ(defaults["sdkVersion"], "2.2.2");
    EXPECT_EQ(defaults["token"], "token-1");
    EXPECT_EQ(defaults["userId"], "user-1");
    EXPECT_TRUE(defaults["os"].contains("mac"));
    EXPECT_TRUE(defaults["os"].contains("packageName"));
    EXPECT_FALSE(sent[1].body()["os"].contains("mac"));

    // Only the first trigger condition arms a banner; the record is written at once.
    r.event("$pageview");
    EXPECT_FALSE(r.node(301)->activated());
    EXPECT_TRUE(r.node(305)->activated());
    r.event("claim_coupon");
    EXPECT_TRUE(r.node(301)->activated());
    const auto stored =
        OTDataArchiver::getObjectsForPath<OTBannerRecordTreeNode>(r.test.documents() / "OTBannerRecordTreeData.plist");
    ASSERT_TRUE(stored && stored->size() == 2u);
    EXPECT_TRUE(stored->at(0)->activated());

    // Rendering again replaces the old banner view (other views of the cell stay), and the size
    // returned is the new view's.
    auto other = std::make_shared<OTSceneNode>(OTSceneNode::Role::Label, "hostLabel");
    cell->contentView()->addSubview(other);
    const auto size = r.manager->renderBanner(r.config("home_top", cell));
    ASSERT_EQ(r.bannersIn(cell).size(), 1u);
    EXPECT_EQ(r.bannersIn(cell)[0]->banner()->bannerID(), "301");
    EXPECT_EQ(size, r.bannersIn(cell)[0]->bounds().size);
    EXPECT_NEAR(size.height, 370 * 0.65625 + 20, 1e-9);  // a 390-point screen, no text
    EXPECT_NE(cell->findByName("hostLabel"), nullptr);
    EXPECT_EQ(r.manager->presentingBanners().size(), 2u);  // 300 and 301

    // Without a container: the preferred size, nothing inserted.
    EXPECT_NEAR(r.manager->renderBanner(r.config("carousel", nullptr)).height, 370 * 0.65625 + 20, 1e-9);

    // The other order: the campaign banners land first and none is armed. The cell waits for the
    // default banners and is filled when they land.
    BannerRig late;
    auto lateTable = OTHeadlessUIHost::makeTableViewWithCell({375, 260});
    const auto lateCell = lateTable->subviews().front();
    int lateReloads = 0;
    lateTable->addAction(OTSceneNode::kReloadData, [&lateReloads] { ++lateReloads; });
    late.manager->renderBanner(late.config("home_top", lateCell));
    late.manager->loadBanner(std::string("group.demo"));
    late.test.scheduler().runUntilIdle();
    // No campaign banner is armed and no default has come: nothing to show yet.
    for (const auto& view : late.bannersIn(lateCell)) EXPECT_EQ(view->banner(), nullptr);

    late.manager->loadBannerDefault(std::string("group.demo"));
    late.test.scheduler().runUntilIdle();
    const auto filled = late.bannersIn(lateCell);
    ASSERT_EQ(filled.size(), 1u);
    ASSERT_NE(filled[0]->banner(), nullptr);
    EXPECT_EQ(filled[0]->banner()->bannerID(), "300");
    EXPECT_EQ(lateReloads, 2);
    EXPECT_TRUE(late.manager->waitingBannerConfigs().empty());
}

TEST(OTBannerManager, TheReadyWindowTheDefaultFallbackAndHiding) {
    BannerRig r;
    r.download();
    r.event("claim_coupon");
    auto view = OTHeadlessUIHost::makeView({375, 300});
    auto shownAt = [&](bool hides) {
        r.manager->renderBanner(r.config("home_top", view, hides));
        const auto banners = r.bannersIn(view);
        return banners.empty() || !banners[0]->banner() ? std::string("none")
                                                        : banners[0]->banner()->bannerID().value_or("");
    };
    EXPECT_EQ(shownAt(false), "301");  // 2024-05-01 lies in 04-01 .. 05-10
    // Start and end are inclusive; a moment after the end the default banner shows, or nothing.
    const auto node = r.node(301);
    EXPECT_TRUE(r.manager->readyToShow(node));
    r.test.clock().advance(std::chrono::hours(9 * 24 - 8));  // 2024-05-10 00:00:00 at UTC+8
    EXPECT_TRUE(r.manager->readyToShow(node));
    r.test.clock().advance(1s);
    EXPECT_FALSE(r.manager->readyToShow(node));
    EXPECT_EQ(shownAt(false), "300");
    EXPECT_EQ(shownAt(true), "none");
    EXPECT_EQ(r.bannersIn(view).size(), 1u);  // an empty banner view stands in the container
    node->setStartTime("not a date");
    EXPECT_FALSE(r.manager->readyToShow(node));
    node->setActivated(false);
    node->setStartTime("2024-01-01 00:00:00");
    node->setEndTime("2030-01-01 00:00:00");
    EXPECT_FALSE(r.manager->readyToShow(node));
    EXPECT_FALSE(r.manager->readyToShow(nullptr));

    // Banners switched off: nothing rendered, nothing waits.
    auto closed = std::make_shared<CorvaneOtConfig>();
    closed->setBannerClosed(true);
    r.engine->session().setConfiguration(closed);
    EXPECT_EQ(r.manager->renderBanner(r.config("carousel", nullptr)), (OTSize{}));
    EXPECT_TRUE(r.manager->waitingBannerConfigs().empty());
}

TEST(OTBannerManager, AnOnScreenDefaultBannerKeepsItsContentAcrossADefaultDownload) {
    BannerRig r;
    r.download();
    auto view = OTHeadlessUIHost::makeView({375, 300});
    r.manager->renderBanner(r.config("home_top", view));
    ASSERT_EQ(r.manager->presentingBanners().size(), 1u);

    auto changed = kDefaults;
    changed[0]["content"]["text"] = "新的默认";
    r.serve(kCampaigns, changed);
    r.manager->loadBannerDefault(std::string("group.demo"));
    r.test.scheduler().runUntilIdle();
    const auto defaults = r.manager->bannerDefaultArray();
    ASSERT_EQ(defaults.size(), 1u);
    EXPECT_EQ(defaults[0]->content()->text(), "默认");
    EXPECT_EQ(defaults[0]->dataMD5(), "");  // a copy of the shown banner
    // The campaign download that follows puts the download's own defaults back.
    r.manager->loadBanner(std::string("group.demo"));
    r.test.scheduler().runUntilIdle();
    EXPECT_EQ(r.manager->bannerDefaultArray()[0]->content()->text(), "新的默认");
}

TEST(OTBannerManager, GetBannerWalksTheRawListKeepingTheEntryAfterEachRemoval) {
    const json list = json::parse(R"([{"locationId": "a"}, {"locationId": "x"}, {"locationId": "y"},
                                      {"locationId": "a"}, 5, {"locationId": 1}, {"locationId": "a"}])");
    EXPECT_EQ(OTBannerManager::filterJsonData(list, "a"),
              json::parse(R"([{"locationId": "a"}, {"locationId": "y"}, {"locationId": "a"}, {"locationId": 1},
                              {"locationId": "a"}])"));
    EXPECT_EQ(OTBannerManager::filterJsonData(json::parse(R"([{"locationId":"x"},{"locationId":"y"},
                                                               {"locationId":"z"}])"),
                                              "a"),
              json::parse(R"([{"locationId":"y"}])"));
    EXPECT_EQ(OTBannerManager::filterJsonData("not a list", "a"), json::array());

    BannerRig r;
    std::vector<std::optional<std::string>> received;
    r.manager->getBanner("carousel", [&](const std::optional<std::string>& text) { received.push_back(text); });
    r.manager->getBanner("nowhere", [&](const std::optional<std::string>& text) { received.push_back(text); });
    r.test.scheduler().advance(5s);
    EXPECT_TRUE(received.empty());
    r.download();
    r.test.scheduler().advance(1s);
    ASSERT_EQ(received.size(), 2u);
    ASSERT_TRUE(received[0]);
    const auto parsed = json::parse(*received[0]);
    ASSERT_EQ(parsed.size(), 1u);
    EXPECT_EQ(parsed[0]["id"], "305");
    // "nowhere": 301 removed, 305 skipped over and kept.
    ASSERT_TRUE(received[1]);
    EXPECT_EQ(json::parse(*received[1])[0]["id"], "305");
}

TEST(OTBannerManager, GetBannerWithoutAnyDownloadNeverCallsItsCompletion) {
    BannerRig r;
    bool called = false;
    r.manager->getBanner("carousel", [&](const std::optional<std::string>&) { called = true; });
    r.test.scheduler().advance(120s);
    EXPECT_FALSE(called);
    // The task gave up after a minute: a download now is not seen by it.
    r.download();
    r.test.scheduler().advance(5s);
    EXPECT_FALSE(called);
}

TEST(OTBannerManager, HostileAnswersAndFilesLeaveThePreviousListsInPlace) {
    BannerRig r;
    r.download();
    ASSERT_EQ(r.manager->bannerArray().size(), 2u);
    const auto listFile = r.test.documents() / "OTBannerList.plist";
    const auto before = OTFiles::readFile(listFile);
    ASSERT_TRUE(before);

    for (const std::string& body : {std::string(R"({"code":0,"data":{"id":"1"}})"), std::string(R"({"code":0})"),
                                    std::string("[1,2]"), std::string("{not json"), std::string(R"({"code":"7"})")}) {
        r.transport->setAnswerAtOnce([body](const OTHeldTransport::Held&) { return body; });
        r.manager->loadBanner(std::string("group.demo"));
        r.manager->loadBannerDefault(std::string("group.demo"));
        r.test.scheduler().runUntilIdle();
        EXPECT_EQ(r.manager->bannerArray().size(), 2u) << body;
        EXPECT_EQ(r.manager->bannerDefaultArray().size(), 1u) << body;
        EXPECT_EQ(OTFiles::readFile(listFile), before) << body;
    }

    // Elements of the wrong kind are skipped; a non-numeric id keys node 0; wrong kinds inside are absent.
    r.serve(json::parse(R"([7, "x", null, {"id": "abc", "style": "wide", "locationId": 3, "resource": [1],
                            "events": "none", "content": 9}])"),
            kDefaults);
    r.download();
    ASSERT_EQ(r.manager->bannerArray().size(), 1u);
    EXPECT_NE(r.node(0), nullptr);
    r.event("$pageview");
    EXPECT_EQ(r.manager->renderBanner(r.config("home_top", nullptr)).height, OTBannerView::fetchSize(1, 390, 0).height);

    // An expired token logs in again and repeats the request, within the retry limit.
    r.transport->forgetSent();
    r.transport->setAnswerAtOnce([](const OTHeldTransport::Held& held) {
        if (held.isFor("/push/sdk/login")) return json{{"code", 0}, {"token", "token-2"}}.dump();
        return json{{"code", 10001}, {"message", "token invalid"}}.dump();
    });
    r.manager->loadBanner(std::string("group.demo"));
    r.test.scheduler().runUntilIdle();
    std::size_t banners = 0, logins = 0;
    for (const auto& held : r.transport->sent()) {
        banners += held.isFor(OTBannerManager::kBannerPath);
        logins += held.isFor("/push/sdk/login");
    }
    EXPECT_EQ(logins, 3u);
    EXPECT_EQ(banners, 4u);

    // Truncated and foreign files read as nothing on the next start.
    const auto tree = r.test.documents() / "OTBannerRecordTreeData.plist";
    const auto bytes = OTFiles::readFile(tree).value();
    std::filesystem::resize_file(tree, bytes.size() / 2);
    std::filesystem::copy_file(tree, r.test.documents() / "OTBannerDefault.plist",
                               std::filesystem::copy_options::overwrite_existing);
    r.test.restart();
    auto restored = OTBannerManager::sharedManager();
    EXPECT_TRUE(restored->bannerRecordTree()->allNodes().empty());
    EXPECT_TRUE(restored->bannerDefaultArray().empty());
    EXPECT_EQ(restored->bannerArray().size(), 1u);
    EXPECT_EQ(restored->jsonDataArray().size(), 4u);
}

TEST(OTBannerManager, TheEngineLoadsBannersAfterTheDialogListsAndMatchesThemUnlessADialogIsShown) {
    BannerRig r;
    r.engine->session().setUserId("user-1");
    r.engine->getListData(true);
    r.test.scheduler().runUntilIdle();
    std::vector<std::string> paths;
    for (const auto& held : r.transport->sent()) {
        const auto at = held.request.url.find("/push");
        if (at != std::string::npos) paths.push_back(held.request.url.substr(at));
    }
    EXPECT_EQ(paths, (std::vector<std::string>{"/push/sdk/in_app", "/push/sdk/event/subscribe", "/push/sdk/defBanner",
                                               "/push/sdk/banner"}));
    ASSERT_EQ(r.manager->bannerArray().size(), 2u);

    struct Dialog : OTDialogView {
        bool showing = true;
        bool isShowing() const override { return showing; }
    };
    std::vector<json> records;
    r.engine->setDecisionListener([&records](const json& record) { records.push_back(record); });
    // The banners' verdicts in one record: "id verdict reason" each.
    const auto banners = [&records](std::size_t at) {
        std::vector<std::string> lines;
        for (const auto& c : records.at(at)["campaigns"]) {
            if (c["kind"] == "banner")
                lines.push_back(c["id"].get<std::string>() + " " + c["verdict"].get<std::string>() + " " +
                                c.value("reason", ""));
        }
        return lines;
    };
    auto dialog = std::make_shared<Dialog>();
    OTPopWindowManager::sharedManager()->handlePopWindow(dialog);
    OTSDKManagerProbe::onLane(*r.engine, [](OTSDKManager& lane) {
        lane.triggerEventMatchWithData(json{{"xwhat", "$pageview"}});
    });
    EXPECT_FALSE(r.node(305)->activated());
    dialog->showing = false;
    OTPopWindowManager::sharedManager()->handlePopWindow(dialog);

    // Banners closed: no match and no download.
    auto closed = std::make_shared<CorvaneOtConfig>();
    closed->setBannerClosed(true);
    r.engine->session().setConfiguration(closed);
    OTSDKManagerProbe::onLane(*r.engine, [](OTSDKManager& lane) {
        lane.triggerEventMatchWithData(json{{"xwhat", "$pageview"}});
    });
    EXPECT_FALSE(r.node(305)->activated());
    r.transport->forgetSent();
    r.engine->getListData(true);
    r.test.scheduler().runUntilIdle();
    for (const auto& held : r.transport->sent()) EXPECT_EQ(held.request.url.find("anner"), std::string::npos);

    r.engine->session().setConfiguration(std::make_shared<CorvaneOtConfig>());
    OTSDKManagerProbe::onLane(*r.engine, [](OTSDKManager& lane) {
        lane.triggerEventMatchWithData(json{{"xwhat", "$pageview"}});
    });
    EXPECT_TRUE(r.node(305)->activated());

    r.test.scheduler().runUntilIdle();
    // The engine has no in-app campaigns here: the page view waits, and waits again when the list
    // download replays it.
    ASSERT_EQ(records.size(), 4u);
    EXPECT_TRUE(banners(0).empty());  // held back with the dialogs
    EXPECT_EQ(records[0]["reason"], "dialogOnScreen");
    EXPECT_EQ(banners(1),
              (std::vector<std::string>{"301 notActivated bannersClosed", "305 notActivated bannersClosed"}));
    EXPECT_EQ(records[2]["pass"], "waitingEvent");
    EXPECT_EQ(banners(3), (std::vector<std::string>{"301 notActivated eventName", "305 activated "}));
    EXPECT_EQ(records[3]["discarded"], "alreadyWaiting");
}

}  // namespace corvane
