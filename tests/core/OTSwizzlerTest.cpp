#include <gtest/gtest.h>

#include "core/OTCampaignStore.h"
#include "core/OTPageCollection.h"
#include "core/OTSDKManager.h"
#include "core/OTSwizzler.h"
#include "foundation/OTFiles.h"
#include "model/OTWindowData.h"
#include "model/OTWindowRecordTree.h"
#include "server/OTServerSession.h"
#include "services/OTLogger.h"
#include "support/OTCampaignLoader.h"
#include "support/OTRecordingPresenter.h"
#include "support/OTSDKManagerProbe.h"
#include "support/OTTestEnvironment.h"
#include "view/OTNavigationController.h"
#include "view/OTTabBarController.h"
#include "view/OTWindow.h"

namespace corvane {

using namespace std::chrono_literals;

TEST(OTSwizzler, CallbacksRunAfterThePreviousImplementationInOneReplacement) {
    OTTestEnvironment test;
    auto runtime = OTMethodRuntime::shared();
    auto swizzler = OTSwizzler::shared();
    std::vector<std::string> trace;
    runtime->defineClass("Host", "");
    runtime->addMethod("Host", "viewDidAppear:", [&](auto&, auto&, auto&) { trace.push_back("original"); });
    auto callback = [&](const char* name) {
        return
            [&trace, name](const OTMethodRuntime::Receiver&, const std::string&, const OTMethodRuntime::Arguments& a) {
                trace.push_back(std::string(name) + (std::any_cast<bool>(a.at(0)) ? ":animated" : ""));
            };
    };
    swizzler->swizzleSelector("viewDidAppear:", "Host", callback("a"), "A");
    swizzler->swizzleSelector("viewDidAppear:", "Host", callback("b"), "B");
    swizzler->swizzleSelector("viewDidAppear:", "Host", callback("a2"), "A");  // replaces A
    runtime->invoke("Host", nullptr, "viewDidAppear:", {true});
    EXPECT_EQ(trace, (std::vector<std::string>{"original", "a2:animated", "b:animated"}));
    ASSERT_TRUE(swizzler->recordFor("viewDidAppear:").has_value());
    EXPECT_EQ(swizzler->recordFor("viewDidAppear:")->numArgs, 1u);

    swizzler->unswizzleSelector("viewDidAppear:", "Host", "A");
    trace.clear();
    runtime->invoke("Host", nullptr, "viewDidAppear:", {false});
    EXPECT_EQ(trace, (std::vector<std::string>{"original", "b"}));

    // Methods outside the table, missing methods and missing parts change nothing.
    runtime->addMethod("Host", "viewDidLoad", [&](auto&, auto&, auto&) { trace.push_back("load"); });
    swizzler->swizzleSelector("viewDidLoad", "Host", callback("x"), "X");
    swizzler->swizzleSelector("willRemoveSubview:", "Nothing", callback("x"), "X");
    swizzler->swizzleSelector("viewDidAppear:", "Host", nullptr, "X");
    trace.clear();
    runtime->invoke("Host", nullptr, "viewDidLoad", {});
    EXPECT_EQ(trace, std::vector<std::string>{"load"});
    EXPECT_TRUE(swizzler->isLocallyDefinedMethod("viewDidLoad", "Host"));
    EXPECT_FALSE(swizzler->isLocallyDefinedMethod("viewWillDisappear:", "Host"));
    const auto log = test.log();
    EXPECT_NE(log.find("SwizzleException:Cannot find method for willRemoveSubview: on Nothing"), std::string::npos);
}

TEST(OTSwizzler, InheritedMethodsGetALocalReplacementThatRunsTheInheritedOne) {
    OTTestEnvironment test;
    auto runtime = OTMethodRuntime::shared();
    auto swizzler = OTSwizzler::shared();
    std::vector<std::string> trace;
    runtime->setImplementation("UIViewController",
                               "viewWillDisappear:", [&](auto&, auto&, auto&) { trace.push_back("base"); });
    runtime->defineClass("Child", "UIViewController");
    swizzler->swizzleSelector(
        "viewWillDisappear:", "Child", [&](auto&, auto&, auto&) { trace.push_back("callback"); }, "C");
    EXPECT_TRUE(swizzler->isLocallyDefinedMethod("viewWillDisappear:", "Child"));
    runtime->invoke("Child", nullptr, "viewWillDisappear:", {true});
    EXPECT_EQ(trace, (std::vector<std::string>{"base", "callback"}));
}

TEST(OTPageCollection, ReportsTheHostsOwnPagesOnly) {
    OTTestEnvironment test;
    auto engine = OTSDKManager::sharedManager();
    auto config = std::make_shared<CorvaneOtConfig>();
    config->setMainPage("HomeVC");
    engine->session().setConfiguration(config);
    engine->startPageCollection();
    test.scheduler().runUntilIdle();

    auto collection = engine->pageCollection();
    EXPECT_EQ(collection->excludedClassNames().size(), 64u);
    auto home = std::make_shared<OTViewController>("HomeVC");
    auto appear = [&](const std::shared_ptr<OTViewController>& page) {
        page->viewDidAppear(true);
        test.scheduler().runUntilIdle();
    };
    appear(std::make_shared<OTViewController>("UIViewController"));
    appear(std::make_shared<OTNavigationController>("HomeVC"));  // a navigation container, whatever its name
    EXPECT_EQ(engine->mainPageController(), nullptr);
    appear(home);
    EXPECT_EQ(engine->mainPageController(), home);

    EXPECT_FALSE(collection->canCollectViewController(std::make_shared<OTViewController>("UIAlertController")));
    EXPECT_TRUE(collection->canCollectViewController(
        std::make_shared<OTViewController>("MyAlert", std::vector<std::string>{"UIAlertController"})));
    EXPECT_FALSE(collection->canCollectViewController(std::make_shared<OTTabBarController>("MyTabs")));
    OTSDKManagerProbe::setAutoCollectPageInfo(*engine, false);
    EXPECT_FALSE(collection->canCollectViewController(home));
}

TEST(OTPageCollection, TheMainPagesFirstViewIsMatchedWhenItsCoverGoes) {
    OTTestEnvironment test;
    auto presenter = std::make_shared<OTRecordingPresenter>();
    OTPopWindowManager::sharedManager()->setPresenter(presenter);
    auto home = std::make_shared<OTViewController>("HomeVC");
    auto tabs = std::make_shared<OTTabBarController>();
    tabs->setViewControllers({OTNavigationController::withRoot(home)});
    auto window = std::make_shared<OTWindow>(tabs);
    window->addSubview("SplashView");
    test.uiHost().setWindows({window});

    auto engine = OTSDKManager::sharedManager();
    auto config = std::make_shared<CorvaneOtConfig>();
    config->setMainPage("HomeVC");
    config->setUrl("http://127.0.0.1:9");  // a closed loopback port: the login fails at once
    engine->startWithConfiguration(config);
    test.scheduler().runUntilIdle();
    home->viewDidAppear(true);
    OTCampaignLoader::load(*engine, {nlohmann::json{{"id", "7"}, {"type", 0}, {"count", 3}}});

    engine->onEventDataReceived(nlohmann::json{{"xwhat", "$pageview"}, {"xcontext", {{"$url", "HomeVC"}}}});
    test.scheduler().runUntilIdle();
    EXPECT_TRUE(presenter->shown.empty());  // the splash covers the main page
    ASSERT_NE(engine->cachedFirstPVEventOfMainPage(), nullptr);

    window->removeSubview("SplashView");
    test.scheduler().advance(99ms);
    EXPECT_TRUE(presenter->shown.empty());
    test.scheduler().advance(1ms + 200ms);
    EXPECT_EQ(presenter->shownIds(), std::vector<std::string>{"7"});

    // Starting again does not intercept twice: one observation, one replay.
    engine->startWithConfiguration(config);
    EXPECT_EQ(OTSwizzler::shared()->recordFor("willRemoveSubview:")->blocks.size(), 1u);
    engine->exchangeMethod();  // no host analytics class: nothing
    EXPECT_FALSE(OTSwizzler::shared()->recordFor("saveUploadInfo:event:handler:").has_value());
}

}  // namespace corvane
