#include <gtest/gtest.h>

#include "foundation/OTFiles.h"
#include "render/OTHeadlessRenderer.h"
#include "render/OTHeadlessWebView.h"
#include "services/OTLogger.h"
#include "support/OTTestEnvironment.h"
#include "ui/OTWebController.h"
#include "view/OTNavigationController.h"

namespace corvane {

using namespace std::chrono_literals;

namespace {
std::shared_ptr<OTHeadlessWebView> page(const std::shared_ptr<OTWebController>& controller) {
    return std::static_pointer_cast<OTHeadlessWebView>(controller->wkWebView());
}

}  // namespace

TEST(OTWebController, LoadsShowsProgressAndRecoversFromAFailedStart) {
    OTTestEnvironment test;
    auto controller = OTWebController::initWithUrl("https://survey.test/q1");
    controller->setJsString("window.ot = 1;");
    controller->viewDidLoad();
    auto web = page(controller);
    EXPECT_EQ(web->requests(), std::vector<std::string>{"load https://survey.test/q1"});
    // Full screen until sized; the script goes into every frame at document start.
    EXPECT_EQ(web->frame(), (OTRect{{0, 0}, {390, 844}}));
    ASSERT_EQ(web->userScripts().size(), 1u);
    EXPECT_FALSE(web->userScripts()[0].forMainFrameOnly);
    EXPECT_TRUE(web->userScripts()[0].atDocumentStart);
    EXPECT_EQ(web->scriptMessageHandlers(), std::vector<std::string>{"jsCallOC"});
    EXPECT_TRUE(web->allowsInlineMediaPlayback());
    EXPECT_FALSE(controller->refreshControlAttached());
    EXPECT_EQ(controller->leftBarButtonItem(), controller->backBarButtonItem());
    EXPECT_EQ(controller->backBarButtonItem()->subviews().size(), 2u);
    EXPECT_EQ(controller->backBarButtonItem()->subviews()[1]->imageResource(), "ot_webview_close@3x.png");

    // Progress: the bar takes each value and hides 0.2 s after the first complete one; twice
    // complete schedules two hides, both harmless.
    web->start();
    web->setProgress(0.4);
    EXPECT_FLOAT_EQ(controller->progressValue(), 0.4f);
    EXPECT_FLOAT_EQ(controller->progress()->subviews()[0]->ot_width(), 390 * 0.4f);
    web->setProgress(1.0);
    web->setProgress(1.0);
    EXPECT_FALSE(controller->progress()->hidden());
    test.scheduler().advance(199ms);
    EXPECT_FALSE(controller->progress()->hidden());
    test.scheduler().advance(1ms);
    EXPECT_TRUE(controller->progress()->hidden());
    EXPECT_EQ(test.scheduler().pendingCount(), 0u);
    web->setTitle("Quick survey");
    web->finish();
    EXPECT_EQ(controller->title(), "Quick survey");

    // A failed start shows the reload button; a tap reloads, and the next start hides it again.
    web->fail("The Internet connection appears to be offline.");
    EXPECT_TRUE(web->hidden());
    EXPECT_FALSE(controller->reloadBtn()->hidden());
    EXPECT_EQ(controller->reloadBtn()->text(), "网络异常，点击重新加载");
    EXPECT_EQ(controller->reloadBtn()->frame(), (OTRect{{95, 422 - 70 - 100}, {200, 140}}));  // centred, 100 up
    EXPECT_NE(
        test.log().find("页面加载失败：The Internet connection appears to be offline.，url：https://survey.test/q1"),
        std::string::npos);
    ASSERT_TRUE(OTHeadlessRenderer::tap(controller->reloadBtn()));
    EXPECT_EQ(web->requests().back(), "reload");
    web->start();
    EXPECT_TRUE(controller->reloadBtn()->hidden());
    EXPECT_FALSE(web->hidden());
}

TEST(OTWebController, ScriptsOnlyLogAndPanelsWaitForEver) {
    OTTestEnvironment test;
    auto controller = OTWebController::initWithUrl("https://survey.test/q1");
    controller->viewDidLoad();
    auto web = page(controller);
    web->postMessage("jsCallOC", {{"answer", "good"}});
    web->postMessage("ot_webview_back", "x");  // a bar button's picture name, not a call
    const auto text = test.log();
    EXPECT_NE(text.find("js 拦截，调用 OC 方法，方法名：jsCallOC,参数：{\n    answer = good;\n}"), std::string::npos);
    EXPECT_NE(text.find("js 拦截，调用 OC 方法，方法名：ot_webview_back,参数：x"), std::string::npos);
    web->showPanel("alert", "Hello");
    web->showPanel("confirm", "Sure?");
    test.scheduler().advance(10s);
    EXPECT_EQ(web->unansweredPanels(), 2);

    // An "about:" page hides the web view while it starts.
    web->loadRequest(std::string("about:blank"));
    web->start();
    EXPECT_TRUE(web->hidden());
}

TEST(OTWebController, FramesBackAndClose) {
    OTTestEnvironment test;
    // One zero side is as good as none: full screen until resized.
    auto narrow = OTWebController::initWithFrame({{0, 0}, {300, 0}});
    EXPECT_EQ(narrow->wkWebView()->frame(), (OTRect{{0, 0}, {390, 844}}));
    auto sized = OTWebController::initWithFrame({{10, 20}, {300, 400}});
    sized->setCanDownRefresh(true);
    EXPECT_EQ(sized->wkWebView()->frame(), (OTRect{{10, 20}, {300, 400}}));
    EXPECT_TRUE(sized->refreshControlAttached());
    sized->setBounds({{0, 0}, {200, 100}}, {195, 422});
    EXPECT_EQ(sized->view()->frame(), (OTRect{{95, 372}, {200, 100}}));
    EXPECT_EQ(sized->wkWebView()->frame(), (OTRect{{0, 0}, {200, 100}}));
    EXPECT_EQ(sized->progress()->frame(), (OTRect{{0, 0}, {200, 2}}));

    // Back goes back in the page while it can, then leaves like close: popped and dismissed.
    auto home = std::make_shared<OTViewController>("HomeVC");
    auto stack = OTNavigationController::withRoot(home);
    auto controller = OTWebController::initWithUrl("https://a.test/1");
    controller->viewDidLoad();
    stack->pushViewController(controller, false);
    auto web = page(controller);
    web->loadRequest(std::string("https://a.test/2"));
    ASSERT_TRUE(OTHeadlessRenderer::tap(controller->backBarButtonItem()->subviews()[0]));
    EXPECT_EQ(web->requests().back(), "back");
    EXPECT_EQ(stack->viewControllers().size(), 2u);
    ASSERT_TRUE(OTHeadlessRenderer::tap(controller->backBarButtonItem()->subviews()[0]));
    EXPECT_EQ(stack->viewControllers().size(), 1u);

    // Released: loading stops and the page no longer reaches the controller.
    const auto stops = web->stopCount();
    controller.reset();
    stack.reset();
    EXPECT_EQ(web->stopCount(), stops + 1);
    EXPECT_EQ(web->delegate(), nullptr);
    web->finish();
}

}  // namespace corvane
