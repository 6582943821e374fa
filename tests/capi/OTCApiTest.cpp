#include <gtest/gtest.h>

#include <corvane/corvane_ostrel.h>

#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <thread>
#include <vector>

#include "capi/OTCApiHost.h"
#include "platform/OTPageClassRegistry.h"
#include "server/OTEventReporter.h"
#include "services/OTImageDiskCache.h"
#include "support/OTServerHarness.h"
#include "support/OTThreadedTestEnvironment.h"
#include "ui/OTBannerManager.h"
#include "view/OTNavigationController.h"
#include "view/OTWindow.h"

namespace corvane {

using namespace std::chrono_literals;
using nlohmann::json;

namespace {
// The node named `name` in a surface's tree, depth first.
const json* findNamed(const json& node, const std::string& name) {
    if (node.value("name", "") == name) return &node;
    for (const auto& child : node["children"]) {
        if (const auto* found = findNamed(child, name)) return found;
    }
    return nullptr;
}

json surfaceOf(const ot_capi_screen& screen, std::uint64_t id) {
    const char* text = ot_capi_surface(&screen, id);
    return text == nullptr ? json() : json::parse(text, nullptr, false);
}
}  // namespace

TEST(OTCApi, BadInputGivesItsDocumentedStatusAndNeverBreaksTheLibrary) {
    OTTestEnvironment test;
    EXPECT_EQ(ot_capi_bad_input(), 0) << "the number is the first check that failed";
    test.scheduler().runUntilIdle();
    // What belongs to the main thread is refused on another, and nothing runs there.
    test.scheduler().mainQueue()->async([] {});
    std::vector<int> fromAnotherThread;
    std::thread([&] {
        const corvane_presenter presenter{nullptr, [](void*, uint64_t, const char*) {}, nullptr, nullptr};
        std::uint64_t surface = 0;
        fromAnotherThread = {corvane_set_presenter(&presenter),
                             corvane_tap(1),
                             corvane_scroll(1, 0, 0),
                             corvane_load_banner("home_top", 10, 10, 0, &surface, nullptr, nullptr),
                             corvane_release_banner(1),
                             corvane_page_shown("HomeVC"),
                             static_cast<int>(corvane_run_main_queue())};
    }).join();
    EXPECT_EQ(fromAnotherThread, (std::vector<int>{CORVANE_ERROR_WRONG_THREAD, CORVANE_ERROR_WRONG_THREAD,
                                                   CORVANE_ERROR_WRONG_THREAD, CORVANE_ERROR_WRONG_THREAD,
                                                   CORVANE_ERROR_WRONG_THREAD, CORVANE_ERROR_WRONG_THREAD, 0}));
    EXPECT_EQ(corvane_run_main_queue(), 1u) << "the main thread runs its work";
}

TEST(OTCApi, ACHostStartsSendsEventsAndReceivesBannersFromTheDevServer) {
    OTServerHarness h;
    h.test.installHostApp();
    ASSERT_EQ(ot_capi_start("group.demo", (h.server.baseURL() + "/").c_str()), 0);
    ASSERT_TRUE(h.waitForOutcomes("/push/sdk/in_app"));
    // The purchase is sent to the server only once the subscribe list is in, which may answer
    // after the banners: the three go out at once.
    ASSERT_TRUE(h.waitForOutcomes("/push/sdk/event/subscribe"));
    ASSERT_TRUE(h.waitForSuccess(OTBannerManager::kBannerPath));
    h.test.scheduler().runUntilIdle();  // the lists are taken in on the event queue, the banners on the main queue
    const auto logins = h.server.requestsTo("/push/sdk/login");
    ASSERT_FALSE(logins.empty());
    EXPECT_EQ(logins[0].body.value("appKey", ""), "capi-key");

    ot_capi_records decisions{};
    ot_capi_listen_for_decisions(&decisions);
    ot_capi_banners banners{};
    ASSERT_EQ(ot_capi_purchase_and_banners("group.demo", 120, &banners), 0);
    // The sample purchase campaign asks the server to trigger its follow-up.
    ASSERT_TRUE(h.waitFor([&] { return !h.server.requestsTo("/push/sdk/event/trigger").empty(); }));
    ASSERT_TRUE(h.waitFor([&] { return banners.calls == 1; }));
    EXPECT_EQ(banners.was_null, 0);
    const auto list = nlohmann::json::parse(banners.text, nullptr, false);
    ASSERT_TRUE(list.is_array()) << banners.text;
    ASSERT_FALSE(list.empty());
    EXPECT_EQ(list[0].value("locationId", ""), "home_top");

    // The purchase's decision record reached the C host as JSON text.
    ASSERT_TRUE(h.waitFor([&] { return decisions.calls == 1; }));
    const auto record = nlohmann::json::parse(decisions.last, nullptr, false);
    ASSERT_TRUE(record.is_object()) << decisions.last;
    EXPECT_EQ(record["event"], (nlohmann::json{{"xwhat", "purchase"}, {"source", 0}}));
    EXPECT_EQ(record["campaigns"][0]["verdict"], "sentToServer");
    EXPECT_EQ(record["campaigns"][1]["reason"], "eventName");
    ot_capi_listen_for_decisions(nullptr);
    // A delivered push's report is told to the C host as it is made, on the calling thread; its
    // answer is held back until the listener is gone, and the list's "$pullDialog" report is
    // answered before, so nothing calls the host from another thread.
    ASSERT_TRUE(h.waitForOutcomes(OTEventReporter::kReportPath));
    OTDevServer::Fault slow;
    slow.delay = 500ms;
    h.server.injectFault(OTEventReporter::kReportPath, slow);
    ot_capi_records reports{};
    ot_capi_listen_for_reports(&reports);
    ASSERT_EQ(corvane_push_track(0, R"({"activityId":"55"})", "group.demo"), CORVANE_OK);
    ot_capi_listen_for_reports(nullptr);
    ASSERT_EQ(reports.calls, 1);
    const auto made = nlohmann::json::parse(reports.last, nullptr, false);
    EXPECT_EQ(made.value("fate", ""), "made");
    EXPECT_EQ(made.value("queue", ""), "push");
    EXPECT_EQ(made["report"].value("xwhat", ""), "$ot_push_delivery");
    EXPECT_EQ(made["report"]["xcontext"].value("activityId", ""), "55");
    ASSERT_EQ(ot_capi_event("group.demo", R"({"source":0,"xwhat":"purchase","xwho":"u1"})"), 0);
    ASSERT_TRUE(h.waitFor([&] { return h.server.requestsTo("/push/sdk/event/trigger").size() == 2; }));
    h.test.scheduler().runUntilIdle();
    EXPECT_EQ(decisions.calls, 1);
}

}  // namespace corvane

namespace corvane {

TEST(OTCApi, ACHostDrawsTheDialogAndTheBannerItIsGivenAndTapsThemBack) {
    OTServerHarness h;
    ASSERT_EQ(ot_capi_register_pages(), CORVANE_OK);
    const std::string group = "group.demo";
    ASSERT_EQ(ot_capi_start(group.c_str(), (h.server.baseURL() + "/").c_str()), 0);
    ASSERT_TRUE(h.waitForOutcomes("/push/sdk/in_app"));
    ASSERT_TRUE(h.waitForSuccess(OTBannerManager::kBannerPath));
    h.test.scheduler().runUntilIdle();  // the banners are taken in on the main queue
    const std::string picture = h.server.baseURL() + "/media/spring-sale.png";
    ASSERT_TRUE(h.waitFor([&] { return OTImageDiskCache::cache()->containsImageDataForKey(picture); }));

    // The host has no window: presenting gives it one, its stack starting at the main page.
    ot_capi_screen screen{};
    screen.follows_links = 1;
    ASSERT_EQ(ot_capi_present(&screen), 0);
    const auto windows = OTEnvironment::current()->uiHost().windows();
    ASSERT_EQ(windows.size(), 1u);
    const auto stack = std::static_pointer_cast<OTNavigationController>(windows[0]->rootViewController());
    ASSERT_TRUE(stack->isNavigationController());
    EXPECT_EQ(stack->topViewController()->className(), "HomeVC");
    corvane_run_main_queue();
    EXPECT_EQ(screen.shows, 0);

    ASSERT_EQ(
        ot_capi_event(group.c_str(), R"({"source":0,"xwhat":"view_product","xwho":"u1","xcontext":{"price":150}})"),
        CORVANE_OK);
    h.test.scheduler().runUntilIdle();
    h.test.scheduler().advance(400ms);  // the 0.2 s delay and the show animation
    corvane_run_main_queue();
    ASSERT_EQ(screen.count, 1u);
    EXPECT_EQ(screen.shows, 1);
    const auto dialogId = screen.ids[0];
    const auto dialog = surfaceOf(screen, dialogId);
    EXPECT_EQ(dialog["surface"], dialogId);
    EXPECT_EQ(dialog["kind"], "dialog");
    EXPECT_EQ(dialog["screen"], (json{{"width", 390}, {"height", 844}}));
    EXPECT_EQ(dialog["root"]["id"], dialogId);
    EXPECT_EQ(dialog["root"]["name"], "OTPopWindow");
    EXPECT_EQ(dialog["root"]["frame"], (json{{"x", 0}, {"y", 0}, {"width", 390}, {"height", 844}}));
    const auto* image = findNamed(dialog["root"], "imgView");
    ASSERT_NE(image, nullptr);
    EXPECT_EQ((*image)["role"], "image");
    EXPECT_EQ((*image)["image"]["url"], picture);
    EXPECT_EQ((*image)["image"]["width"], 600);
    EXPECT_EQ((*image)["image"]["height"], 800);
    EXPECT_EQ((*image)["actions"], (json{"tap"}));
    // The host draws pictures from the library's copies, fetching nothing again; one the server
    // lacks comes as nothing.
    const std::string coupon = h.server.baseURL() + "/media/coupon.png";
    ASSERT_TRUE(h.waitFor([&] { return OTImageDiskCache::cache()->containsImageDataForKey(coupon); }));
    const auto mediaFetches = [&] {
        return h.server.requestsTo("/media/spring-sale.png").size() + h.server.requestsTo("/media/coupon.png").size();
    };
    const auto fetchedBefore = mediaFetches();
    ot_capi_picture cached{};
    ot_capi_picture stored{};
    ot_capi_picture missing{};
    ASSERT_EQ(ot_capi_ask_picture(picture.c_str(), &cached), CORVANE_OK);
    ASSERT_EQ(ot_capi_ask_picture(coupon.c_str(), &stored), CORVANE_OK);
    ASSERT_EQ(ot_capi_ask_picture((h.server.baseURL() + "/media/none.png").c_str(), &missing), CORVANE_OK);
    EXPECT_EQ(cached.calls, 0) << "handed on the main thread";
    ASSERT_TRUE(h.waitFor([&] {
        corvane_run_main_queue();
        return missing.calls == 1;
    }));
    const unsigned char png[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    const std::filesystem::path media = std::filesystem::path(OT_SAMPLE_CAMPAIGNS) / "media";
    EXPECT_EQ(cached.length, std::filesystem::file_size(media / "spring-sale.png"));
    EXPECT_EQ(stored.length, std::filesystem::file_size(media / "coupon.png"));
    for (const auto* answer : {&cached, &stored}) {
        EXPECT_EQ(answer->calls, 1);
        EXPECT_EQ(answer->was_null, 0);
        EXPECT_EQ(std::memcmp(answer->head, png, sizeof png), 0);
    }
    EXPECT_EQ(missing.was_null, 1);
    EXPECT_EQ(mediaFetches(), fetchedBefore);
    const auto* close = findNamed(dialog["root"], "closeBtn");
    ASSERT_NE(close, nullptr);
    EXPECT_EQ((*close)["role"], "button");
    EXPECT_EQ((*close)["actions"], (json{"touchUpInside"}));
    const auto* background = findNamed(dialog["root"], "backgroundView");
    ASSERT_NE(background, nullptr);
    EXPECT_TRUE(std::regex_match((*background)["backgroundColor"].get<std::string>(), std::regex("#[0-9A-F]{8}")));

    // Nothing changed, nothing is sent again.
    corvane_run_main_queue();
    EXPECT_EQ(screen.shows, 1);

    // The host's tap closes the dialog, which is dismissed, and opens the campaign's page.
    EXPECT_EQ(corvane_tap((*image)["id"].get<std::uint64_t>()), CORVANE_OK);
    h.test.scheduler().advance(50ms);
    corvane_run_main_queue();
    EXPECT_EQ(screen.dismisses, 1);
    EXPECT_EQ(screen.count, 0u);
    EXPECT_EQ(corvane_tap((*image)["id"].get<std::uint64_t>()), CORVANE_ERROR_NOT_FOUND);
    h.test.scheduler().advance(599ms);
    corvane_run_main_queue();
    EXPECT_EQ(screen.navigations, 0);
    // The library decides, the host performs it and reports the page it shows.
    h.test.scheduler().advance(1ms);
    corvane_run_main_queue();
    ASSERT_EQ(screen.navigations, 1);
    EXPECT_EQ(json::parse(screen.last_navigation, nullptr, false),
              (json{{"kind", "page"},
                    {"page", "DetailVC"},
                    {"properties", {{"id", "42"}, {"name", "spring"}}},
                    {"presentation", "push"},
                    {"source", "campaign"}}));
    ASSERT_EQ(stack->viewControllers().size(), 2u);
    EXPECT_EQ(stack->topViewController()->className(), "DetailVC");

    // A banner the host loads is a surface of its own until released.
    std::uint64_t banner = 0;
    double width = 0;
    double height = 0;
    ASSERT_EQ(corvane_load_banner("home_top", 390, 120, 0, &banner, &width, &height), CORVANE_OK);
    EXPECT_GT(width, 0);
    EXPECT_GT(height, 0);
    h.test.scheduler().runUntilIdle();
    corvane_run_main_queue();
    ASSERT_EQ(screen.count, 1u);
    const auto shown = surfaceOf(screen, banner);
    EXPECT_EQ(shown["kind"], "banner");
    EXPECT_EQ(shown["locationId"], "home_top");
    EXPECT_EQ(shown["root"]["frame"], (json{{"x", 0}, {"y", 0}, {"width", 390}, {"height", 120}}));
    ASSERT_FALSE(shown["root"]["children"].empty()) << shown.dump();
    // No campaign banner is due yet: the location's default shows, its text and its picture.
    const auto* text = findNamed(shown["root"], "textLbl");
    ASSERT_NE(text, nullptr);
    EXPECT_EQ((*text)["text"], "欢迎回来，看看今天的新品");
    EXPECT_EQ((*text)["numberOfLines"], 0);
    const auto* icon = findNamed(shown["root"], "icon");
    ASSERT_NE(icon, nullptr);
    EXPECT_EQ((*icon)["image"]["url"], h.server.baseURL() + "/media/default.png");
    EXPECT_EQ((*icon)["image"]["contentMode"], "aspectFill");
    EXPECT_EQ(corvane_scroll((*icon)["id"].get<std::uint64_t>(), 0, 10), CORVANE_ERROR_NOT_FOUND);

    // A second presenter is shown what is on screen afresh.
    ot_capi_screen second{};
    ASSERT_EQ(ot_capi_present(&second), 0);
    corvane_run_main_queue();
    EXPECT_EQ(second.shows, 1);
    EXPECT_EQ(surfaceOf(second, banner), shown);
    EXPECT_EQ(screen.shows, 2);

    EXPECT_EQ(corvane_release_banner(banner), CORVANE_OK);
    EXPECT_EQ(corvane_release_banner(banner), CORVANE_ERROR_NOT_FOUND);
    corvane_run_main_queue();
    EXPECT_EQ(second.dismisses, 1);
    EXPECT_EQ(second.count, 0u);
    EXPECT_EQ(second.overflowed, 0);
    ot_capi_forget(&second);
    ot_capi_forget(&screen);
}

TEST(OTCApi, ACHostWokenByTheLibraryShowsTheDialogAndFollowsItsLinkWithoutPolling) {
    OTThreadedTestEnvironment threaded;
    OTDevServer server{{OT_SAMPLE_CAMPAIGNS}};
    ASSERT_TRUE(server.start());
    ot_capi_wake_on_work();
    ASSERT_EQ(ot_capi_register_pages(), CORVANE_OK);
    ASSERT_EQ(ot_capi_start("group.demo", (server.baseURL() + "/").c_str()), 0);
    ot_capi_screen screen{};
    screen.follows_links = 1;
    ASSERT_EQ(ot_capi_present(&screen), 0);
    // The list is in once its "$pullDialog" report reaches the server.
    ASSERT_TRUE(threaded.scheduler().runMainLoopUntil(
        [&] { return !server.requestsTo(OTEventReporter::kReportPath).empty(); }, 10s));
    ASSERT_EQ(
        ot_capi_event("group.demo", R"({"source":0,"xwhat":"view_product","xwho":"u1","xcontext":{"price":150}})"),
        CORVANE_OK);
    // From here the host's thread sleeps until the library wakes it.
    while (screen.count == 0 && ot_capi_wait_and_run(10) != 0) {}
    ASSERT_EQ(screen.count, 1u);
    const auto dialog = surfaceOf(screen, screen.ids[0]);
    const auto* image = findNamed(dialog["root"], "imgView");
    ASSERT_NE(image, nullptr);
    ASSERT_EQ(corvane_tap((*image)["id"].get<std::uint64_t>()), CORVANE_OK);
    // The tap's dismissal and, 0.6 s later, the campaign's page.
    while (screen.navigations == 0 && ot_capi_wait_and_run(10) != 0) {}
    EXPECT_EQ(screen.count, 0u);
    ASSERT_EQ(screen.navigations, 1);
    EXPECT_EQ(json::parse(screen.last_navigation, nullptr, false)["page"], "DetailVC");
    const int wakes = ot_capi_stop_waking();
    EXPECT_GT(wakes, 1);
    ot_capi_forget(&screen);
}

}  // namespace corvane
