#include <gtest/gtest.h>

#include "core/OTSDKManager.h"
#include "corvane/CorvaneOtManager.h"
#include "services/OTLogger.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

TEST(OTSDKManager, ConstructionClearsActivationAndObservesTheNetwork) {
    OTTestEnvironment test;
    test.clock().advance(std::chrono::seconds(5));
    auto engine = OTSDKManager::sharedManager();
    EXPECT_TRUE(engine->treeNodesInit());
    EXPECT_EQ(engine->maxWaitingEventsCount(), 5u);
    EXPECT_EQ(engine->maxRetryCount(), 3u);
    EXPECT_EQ(engine->lastBackgroundUpdateTime(), OTVirtualClock::defaultStart() + std::chrono::seconds(5));
    EXPECT_EQ(CorvaneOtManager::SDKVersion(), "2.2.2");
    EXPECT_EQ(test.environment().notificationCenter().observerCount("OTNetworkDidChangeNotification"), 1u);
}

TEST(OTSDKManager, ObserverListenerIsTheSharedEngineAndKeepsTheLastNonEmptyGroup) {
    OTTestEnvironment test;
    auto observer = CorvaneOtManager::getObserverListener("group.demo");
    auto engine = OTSDKManager::sharedManager();
    EXPECT_EQ(observer.get(), static_cast<CorvaneOtObserver*>(engine.get()));
    EXPECT_EQ(engine->groupIdentifier(), "group.demo");
    CorvaneOtManager::getObserverListener("");
    EXPECT_EQ(engine->groupIdentifier(), "group.demo");
    engine->managerWithGroupIdentifier(std::nullopt);
    EXPECT_EQ(engine->groupIdentifier(), "group.demo");
    engine->managerWithGroupIdentifier("group.other");
    EXPECT_EQ(engine->groupIdentifier(), "group.other");

    // A new environment is a new process: a new engine, which stops observing when it goes.
    std::weak_ptr<OTSDKManager> old = engine;
    engine.reset();
    observer.reset();
    test.restart();
    EXPECT_TRUE(old.expired());
    EXPECT_FALSE(OTSDKManager::sharedManager()->groupIdentifier().has_value());
}

TEST(OTSDKManager, StartKeepsTheConfigurationAndSetsTheLogLevel) {
    OTTestEnvironment test;
    auto config = std::make_shared<CorvaneOtConfig>();
    config->setAppKey("key");
    config->setUrl("http://127.0.0.1:9");  // a closed loopback port: the login fails at once
    CorvaneOtManager::startWithConfig(config);
    EXPECT_EQ(test.console().lines().front(), "startWithConfiguration");
    EXPECT_EQ(OTSDKManager::sharedManager()->configuration(), config);
    EXPECT_EQ(OTLogger::getInstance()->logLevel(), 0);

    auto second = std::make_shared<CorvaneOtConfig>();
    second->setLogLevelType(4);
    CorvaneOtManager::startWithConfig(second);
    EXPECT_EQ(OTSDKManager::sharedManager()->configuration(), second);
    EXPECT_EQ(OTLogger::getInstance()->logLevel(), 4);

    // Level 0 leaves the logger as it is; a missing configuration changes nothing.
    CorvaneOtManager::startWithConfig(config);
    EXPECT_EQ(OTLogger::getInstance()->logLevel(), 4);
    CorvaneOtManager::configLogLevel(5);
    CorvaneOtManager::startWithConfig(nullptr);
    EXPECT_EQ(OTSDKManager::sharedManager()->configuration(), config);
    EXPECT_TRUE(test.console().contains("启动配置为空，忽略本次启动"));
}

}  // namespace corvane
