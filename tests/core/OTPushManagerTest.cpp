#include <gtest/gtest.h>

#include "core/OTNavigation.h"
#include "core/OTPushManager.h"
#include "core/OTSDKManager.h"
#include "facade/OTHostPages.h"
#include "foundation/OTFiles.h"
#include "platform/OTPageClassRegistry.h"
#include "server/OTServerSession.h"
#include "services/OTLogger.h"
#include "support/OTTestEnvironment.h"
#include "view/OTNavigationController.h"
#include "view/OTTabBarController.h"
#include "view/OTWindow.h"

namespace corvane {

using namespace std::chrono_literals;

namespace {
// The default app: a tab bar of two navigation stacks rooted at HomeVC and MineVC.
struct App {
    OTTestEnvironment test;
    std::shared_ptr<OTViewController> home = std::make_shared<OTViewController>("HomeVC");
    std::shared_ptr<OTViewController> mine = std::make_shared<OTViewController>("MineVC");
    std::shared_ptr<OTNavigationController> homeStack = OTNavigationController::withRoot(home);
    std::shared_ptr<OTNavigationController> mineStack = OTNavigationController::withRoot(mine);
    std::shared_ptr<OTTabBarController> tabs = std::make_shared<OTTabBarController>();
    std::shared_ptr<OTWindow> window = std::make_shared<OTWindow>(tabs);
    std::shared_ptr<OTPushManager> push = OTPushManager::sharedManager();

    App() {
        tabs->setViewControllers({homeStack, mineStack});
        test.uiHost().setWindows({window});
        auto registry = OTPageClassRegistry::shared();
        registry->registerPageClass({"HomeVC", {}, std::nullopt, std::nullopt});
        registry->registerPageClass({"MineVC", {"tab"}, std::nullopt, std::nullopt});
        registry->registerPageClass({"Detail", {"id", "name"}, std::string("Detail"), std::nullopt});
        registry->registerPageClass({"NibPage", {}, std::nullopt, std::string("NibPage")});
    }
    void afterNavigation() { test.scheduler().advance(600ms); }
    std::string log() { return test.log(); }
};
}  // namespace

TEST(OTPushManager, LinksAreUrlsOrPagesOfTheApp) {
    EXPECT_TRUE(OTPushManager::isURLLink("https://example.com/a?b=c&d=e"));
    EXPECT_TRUE(OTPushManager::isURLLink("myapp://path/to"));
    EXPECT_TRUE(OTPushManager::isURLLink("weird scheme://x"));  // anything but "?" before "://"
    EXPECT_FALSE(OTPushManager::isURLLink("https://"));
    EXPECT_FALSE(OTPushManager::isURLLink("https://a b"));
    EXPECT_FALSE(OTPushManager::isURLLink("Detail?next=https://x"));
    EXPECT_FALSE(OTPushManager::isURLLink("Detail?id=3"));

    App app;
    EXPECT_EQ(app.push->getProperty(std::string("id=3&name=ab&id=4&empty=&=x")),
              (OTPushManager::Properties{{"id", "4"}, {"name", "ab"}}));
    EXPECT_EQ(app.push->getProperty(std::string("a=1&broken&b=2")),
              (OTPushManager::Properties{{"a", "1"}, {"b", "2"}}));
    EXPECT_FALSE(app.push->getProperty(std::string("")).has_value());
    EXPECT_NE(app.log().find("链接参数缺少“=”，已忽略：broken"), std::string::npos);
}

TEST(OTPushManager, UrlsOpenInTheAppBrowserOrOutsideAfterADelay) {
    App app;
    app.push->handlePush(std::string("  https://example.com/sale?x=1 "));
    app.test.scheduler().advance(599ms);
    EXPECT_EQ(app.tabs->presentedViewController(), nullptr);
    app.test.scheduler().advance(1ms);
    auto browser = app.tabs->presentedViewController();
    ASSERT_NE(browser, nullptr);
    EXPECT_EQ(browser->className(), "SFSafariViewController");
    EXPECT_EQ(browser->valueForKey("URL"), "https://example.com/sale?x=1");

    app.push->handlePush(std::string("myapp://open/item"));
    app.afterNavigation();
    EXPECT_EQ(app.test.uiHost().records().back(), "open url: myapp://open/item");

    app.push->pushUrl(std::string("bad url://x"));
    app.afterNavigation();
    EXPECT_NE(app.log().find("您所填写的活动链接不合法->bad url://x"), std::string::npos);
}

TEST(OTPushManager, PagesArePushedWithTheirDeclaredPropertiesOnly) {
    App app;
    app.push->handlePush(std::string("Detail?id=3&name=a b&color=red"));
    app.afterNavigation();
    auto top = app.homeStack->topViewController();
    ASSERT_EQ(top->className(), "Detail");
    EXPECT_EQ(top->madeFrom(), "storyboard");
    EXPECT_EQ(top->propertyValues(), (std::map<std::string, std::string>{{"id", "3"}, {"name", "ab"}}));
    EXPECT_TRUE(top->hidesBottomBarWhenPushed());

    app.push->handlePush(std::string("Detail?id="));
    app.afterNavigation();
    EXPECT_TRUE(app.homeStack->topViewController()->propertyValues().empty());

    app.push->handlePush(std::string("NibPage"));
    app.afterNavigation();
    EXPECT_EQ(app.homeStack->topViewController()->madeFrom(), "nib");

    app.push->handlePush(std::string("Missing?id=1"));
    app.afterNavigation();
    EXPECT_EQ(app.homeStack->viewControllers().size(), 4u);
    EXPECT_NE(app.log().find("您所填写的页面不存在->Missing"), std::string::npos);

    // Only type 1 follows a notification's link.
    app.push->handlePush(2, nlohmann::json{{"intentUrl", "Detail"}});
    app.push->handlePush(1, nlohmann::json{{"intentUrl", 5}});
    app.afterNavigation();
    EXPECT_EQ(app.homeStack->viewControllers().size(), 4u);
    app.push->handlePush(1, nlohmann::json{{"intentUrl", "Detail?id=9"}});
    app.afterNavigation();
    EXPECT_EQ(app.homeStack->topViewController()->valueForKey("id"), "9");
}

TEST(OTPushManager, ATabRootSwitchesTabsAndAModalTopPresents) {
    App app;
    app.homeStack->pushViewController(std::make_shared<OTViewController>("Detail"), false);
    app.push->handlePush(std::string("MineVC?tab=1"));
    app.afterNavigation();
    EXPECT_EQ(app.tabs->selectedIndex(), 1);
    EXPECT_EQ(app.homeStack->viewControllers().size(), 1u);  // popped to its root
    EXPECT_EQ(app.mineStack->viewControllers().size(), 1u);  // nothing pushed
    EXPECT_EQ(app.push->_controller(std::make_shared<OTViewController>("MineVC"), app.tabs), 1);
    EXPECT_EQ(app.push->_controller(std::make_shared<OTViewController>("Other"), app.tabs), -1);

    auto modal = std::make_shared<OTViewController>("ModalVC");
    app.mine->presentViewController(modal, true);
    EXPECT_EQ(OTNavigation(app.test.uiHost()).currentViewController(), modal);
    app.push->handlePush(std::string("Detail?id=1"));
    app.afterNavigation();
    ASSERT_NE(modal->presentedViewController(), nullptr);
    EXPECT_EQ(modal->presentedViewController()->className(), "Detail");

    EXPECT_TRUE(app.push->_controllerWithPropertyInTabBarController(std::make_shared<OTViewController>("HomeVC"),
                                                                    OTPushManager::Properties{{"tab", "x"}}, app.tabs));
    EXPECT_EQ(app.tabs->selectedIndex(), 0);
}

TEST(OTPushManager, AHostThatDrawsForItselfIsHandedEachNavigationAndReportsItsPages) {
    App app;
    std::vector<nlohmann::json> handed;
    app.push->setNavigationListener([&handed](const nlohmann::json& navigation) { handed.push_back(navigation); });
    app.homeStack->pushViewController(std::make_shared<OTViewController>("Detail"), false);
    app.push->handlePush(std::string("Detail?id=3&color=red"));
    app.push->handlePush(std::string("MineVC?tab=1"));
    app.push->handlePush(1, nlohmann::json{{"intentUrl", " https://example.com/sale "}});
    app.push->handlePush(std::string("myapp://open"));
    app.push->handlePush(std::string("file:///etc/passwd"));  // never handed to a host
    app.afterNavigation();
    EXPECT_EQ(handed, (std::vector<nlohmann::json>{
                          {{"kind", "page"},
                           {"page", "Detail"},
                           {"properties", {{"id", "3"}}},
                           {"presentation", "push"},
                           {"source", "campaign"}},
                          {{"kind", "tab"}, {"page", "MineVC"}, {"tab", 1}, {"source", "campaign"}},
                          {{"kind", "web"}, {"url", "https://example.com/sale"}, {"source", "notification"}},
                          {{"kind", "url"}, {"url", "myapp://open"}, {"source", "campaign"}}}));
    // The model stayed as the host left it.
    EXPECT_EQ(app.homeStack->viewControllers().size(), 2u);
    EXPECT_EQ(app.tabs->selectedIndex(), 0);
    EXPECT_EQ(app.tabs->presentedViewController(), nullptr);

    // The host reports what it shows: a page on top, back down the stack, a tab root. Each
    // appears as an intercepted page does: the main page is found so.
    auto engine = OTSDKManager::sharedManager();
    auto config = std::make_shared<CorvaneOtConfig>();
    config->setMainPage("MineVC");
    engine->session().setConfiguration(config);
    engine->startPageCollection();
    app.test.scheduler().runUntilIdle();
    EXPECT_FALSE(OTHostPages::pageShown(""));
    OTHostPages::pageShown("Detail");
    EXPECT_EQ(app.homeStack->viewControllers().size(), 2u);
    OTHostPages::pageShown("Promo");
    EXPECT_EQ(OTNavigation(app.test.uiHost()).currentViewController()->className(), "Promo");
    OTHostPages::pageShown("HomeVC");
    EXPECT_EQ(app.homeStack->viewControllers().size(), 1u);
    app.test.scheduler().runUntilIdle();
    EXPECT_EQ(engine->mainPageController(), nullptr);
    OTHostPages::pageShown("MineVC");
    EXPECT_EQ(app.tabs->selectedIndex(), 1);
    app.test.scheduler().runUntilIdle();
    EXPECT_EQ(engine->mainPageController(), app.mine);

    // Without a listener the model moves again.
    app.push->setNavigationListener(nullptr);
    app.push->handlePush(std::string("Detail"));
    app.afterNavigation();
    EXPECT_EQ(app.mineStack->topViewController()->className(), "Detail");
    EXPECT_EQ(handed.size(), 4u);
}

TEST(OTPushManager, PermissionIsAskedByTheSystemVersion) {
    App app;
    app.push->registerForRemoteNotificationWithDelegate(std::make_shared<int>(1));
    app.test.scheduler().runUntilIdle();
    const auto records = app.test.uiHost().records();
    EXPECT_EQ(records, (std::vector<std::string>{"notification delegate set", "request notification authorization 15",
                                                 "register for remote notifications"}));
    EXPECT_NE(app.log().find("request authorization succeeded!"), std::string::npos);
}

TEST(OTNavigation, KeyWindowCurrentPagesAndTheTopWebView) {
    App app;
    auto background = std::make_shared<OTWindow>(std::make_shared<OTViewController>("Other"), OTWindow::Background);
    auto inactive =
        std::make_shared<OTWindow>(std::make_shared<OTViewController>("Inactive"), OTWindow::ForegroundInactive);
    app.test.uiHost().setWindows({background, inactive, app.window});
    const OTNavigation navigation(app.test.uiHost());
    EXPECT_EQ(navigation.keyWindow(), app.window);
    EXPECT_EQ(navigation._keyWindow(), inactive);
    app.test.uiHost().setWindows({background, app.window});
    EXPECT_EQ(navigation.currentNavigation(), app.homeStack);
    EXPECT_EQ(navigation.currentViewController(), app.home);
    app.tabs->setSelectedIndex(1);
    EXPECT_EQ(navigation.currentViewController(), app.mine);
    EXPECT_TRUE(navigation.isControllerOnTopOfKeyWindow(app.mine, std::nullopt));
    EXPECT_FALSE(navigation.isControllerOnTopOfKeyWindow(app.home, std::nullopt));

    EXPECT_FALSE(navigation.currentWebview().has_value());
    app.window->addWebView("DialogWeb", std::string("https://h5.example.com"));
    app.window->addSubview("Toast");
    EXPECT_EQ(navigation.currentWebview(), "DialogWeb");
    EXPECT_FALSE(navigation.isControllerOnTopOfKeyWindow(app.mine, std::string("Toast")));
    app.window->removeSubview("DialogWeb");
    EXPECT_TRUE(navigation.isControllerOnTopOfKeyWindow(app.mine, std::string("Toast")));
    app.mine->setViewVisible(false);
    EXPECT_FALSE(navigation.isControllerOnTopOfKeyWindow(app.mine, std::string("Toast")));
    app.test.uiHost().setWindows({});
    EXPECT_EQ(navigation.currentViewController(), nullptr);
    EXPECT_EQ(navigation.currentNavigation(), nullptr);
}

}  // namespace corvane
