#include <gtest/gtest.h>

#include "core/OTSDKManager.h"
#include "model/OTWindowRecordTree.h"
#include "platform/OTPageClassRegistry.h"
#include "render/OTHTMLRenderer.h"
#include "render/OTHeadlessRenderer.h"
#include "services/OTImageDiskCache.h"
#include "support/OTServerHarness.h"
#include "ui/OTPopWindow.h"
#include "view/OTNavigationController.h"
#include "view/OTTabBarController.h"
#include "view/OTWindow.h"

namespace corvane {

using namespace std::chrono_literals;
using nlohmann::json;

TEST(OTDialogEndToEnd, FromAnAnalyticsEventToAPictureOnScreenATapAPageAndTheReports) {
    OTServerHarness h;
    const auto [home, stack, window] = h.test.installHostApp();

    h.start();
    ASSERT_TRUE(h.waitForLog("in_app data:\n"));
    // The campaign's picture is fetched with the list, so that the dialog can show at once.
    const std::string picture = h.server.baseURL() + "/media/spring-sale.png";
    ASSERT_TRUE(h.waitFor([&] { return OTImageDiskCache::cache()->containsImageDataForKey(picture); }));

    h.engine->onEventDataReceived(json{{"xwhat", "view_product"}, {"xcontext", {{"price", 150}}}});
    h.test.scheduler().runUntilIdle();
    h.test.scheduler().advance(200ms);  // the campaign's delay 0, plus 0.2 s
    const auto image = window->scene()->findByName("imgView");
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->imageURL(), picture);
    h.test.scheduler().advance(200ms);  // the show animation
    const auto m = OTPopWindow::Metrics::forScreen(390, 844);
    const double height = static_cast<double>(800.0f / 600.0f) * m.Wc;
    EXPECT_NEAR(image->frame().size.width, m.Wc, 1e-9);
    EXPECT_NEAR(image->frame().size.height, height, 1e-9);
    EXPECT_NE(window->scene()->findByName("closeBtn"), nullptr);
    EXPECT_NE(OTHTMLRenderer::render(window->scene(), {390, 844}).find(picture), std::string::npos);
    const auto shown = OTHeadlessRenderer::snapshot(window->scene());
    EXPECT_EQ(shown["children"][0]["name"], "OTPopWindow");

    // The tap closes the dialog, counts the click, reports it and opens the campaign's page.
    ASSERT_TRUE(OTHeadlessRenderer::tap(image));
    h.test.scheduler().advance(50ms);
    EXPECT_EQ(window->scene()->findByName("OTPopWindow"), nullptr);
    auto node = h.engine->windowRecordTree()->findWindowNodeById(101);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->clickCount(), 1);
    h.test.scheduler().advance(600ms);
    ASSERT_EQ(stack->viewControllers().size(), 2u);
    EXPECT_EQ(stack->topViewController()->className(), "DetailVC");
    EXPECT_EQ(stack->topViewController()->propertyValues(),
              (std::map<std::string, std::string>{{"id", "42"}, {"name", "spring"}}));

    ASSERT_TRUE(h.waitFor([&] { return h.server.requestsTo(OTSDKManager::kReportPath).size() >= 3; }));
    std::vector<std::string> reports;
    for (const auto& request : h.server.requestsTo(OTSDKManager::kReportPath)) {
        const auto& event = request.body["events"][0];
        reports.push_back(event["xwhat"].get<std::string>() + ":" + event["xcontext"]["activityId"].get<std::string>() +
                          ":" + event["xcontext"].value("$dialog_type", json(0)).dump() + ":" +
                          event["xcontext"].value("price", json()).dump());
    }
    std::sort(reports.begin(), reports.end());
    EXPECT_EQ(reports,
              (std::vector<std::string>{"$clickDialog:101:2:150", "$impDialog:101:1:150", "$pullDialog:101:0:null"}));
}

}  // namespace corvane
