#include <gtest/gtest.h>

#include "OTDevServer.h"
#include "core/OTCampaignStore.h"
#include "core/OTSDKManager.h"
#include "corvane/CorvaneOtManager.h"
#include "model/OTWindowData.h"
#include "server/OTEventReporter.h"
#include "server/OTServerSession.h"
#include "services/OTLogger.h"
#include "services/OTUserConfig.h"
#include "services/OTUserShare.h"
#include "support/OTHeldTransport.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using namespace std::chrono_literals;

TEST(OTSDKManager, ObserverListenerIsTheSharedEngineAndKeepsTheLastNonEmptyGroup) {
    OTTestEnvironment test;
    auto observer = CorvaneOtManager::getObserverListener("group.demo");
    auto engine = OTSDKManager::sharedManager();
    EXPECT_EQ(observer.get(), static_cast<CorvaneOtObserver*>(engine.get()));
    EXPECT_EQ(engine->session().groupIdentifier(), "group.demo");
    CorvaneOtManager::getObserverListener("");
    EXPECT_EQ(engine->session().groupIdentifier(), "group.demo");
    engine->managerWithGroupIdentifier(std::nullopt);
    EXPECT_EQ(engine->session().groupIdentifier(), "group.demo");
    engine->managerWithGroupIdentifier("group.other");
    EXPECT_EQ(engine->session().groupIdentifier(), "group.other");

    // A new environment is a new process: a new engine, which stops observing when it goes.
    std::weak_ptr<OTSDKManager> old = engine;
    engine.reset();
    observer.reset();
    test.restart();
    EXPECT_TRUE(old.expired());
    EXPECT_FALSE(OTSDKManager::sharedManager()->session().groupIdentifier().has_value());
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

TEST(OTSDKManager, AnEngineBuiltDirectlyIsCompleteAndWorksWithTheCollaboratorsItIsGiven) {
    OTTestEnvironment test;
    auto transport = std::make_shared<OTHeldTransport>();
    test.setHTTPTransport(transport);
    transport->setAnswerAtOnce([](const OTHeldTransport::Held& held) -> std::string {
        if (held.isFor(OTHeldTransport::kLoginPath)) return R"({"code":0,"token":"token-1"})";
        if (held.isFor(OTHeldTransport::kInAppPath)) return R"({"code":0,"data":[{"id":"7","type":1}]})";
        return R"({"code":0,"data":[]})";
    });
    OTSDKManagerCollaborators given;
    given.session = std::make_shared<OTServerSession>(test.environment(), OTUserShare::share());
    given.session->setUserId("user-1");
    auto engine =
        std::make_shared<OTSDKManager>(test.environment(), OTSDKManagerCollaborators::of(test.environment(), given));
    EXPECT_EQ(&engine->session(), given.session.get());

    auto config = std::make_shared<CorvaneOtConfig>();
    config->setAppKey("key");
    engine->startWithConfiguration(config);
    test.scheduler().runUntilIdle();
    // Logged in, the list taken into the store and "$pullDialog" reported: nothing was left for
    // a second wiring step.
    const auto campaigns = engine->campaigns().inAppDataArray();
    ASSERT_EQ(campaigns.size(), 1u);
    EXPECT_EQ(campaigns[0]->windowId(), "7");
    const auto reports = transport->bodiesTo(OTEventReporter::kReportPath);
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0]["events"][0]["xwhat"], "$pullDialog");
}

// Two engines in one process, each with its own server link and settings, started against two
// servers: each logs in and downloads from its own server only, and keeps its own list and group.
TEST(OTSDKManager, TwoEnginesInOneProcessKeepToTheirOwnServersAndSettings) {
    OTTestEnvironment test;
    OTDevServer first({OT_SAMPLE_CAMPAIGNS});
    OTDevServer second({OT_SAMPLE_CAMPAIGNS});
    ASSERT_TRUE(first.start());
    ASSERT_TRUE(second.start());
    second.addData("in_app", nlohmann::json::array({{{"id", "900"}, {"type", 1}, {"preEvents", {{{"xwhat", "x"}}}}}}));

    auto a = OTSDKManager::sharedManager()->managerWithGroupIdentifier("group.a");
    OTSDKManagerCollaborators own;
    own.session = std::make_shared<OTServerSession>(test.environment(), OTUserShare::share());
    own.settings = std::make_shared<OTUserConfig>();
    auto b = std::make_shared<OTSDKManager>(test.environment(), OTSDKManagerCollaborators::of(test.environment(), own));
    b->managerWithGroupIdentifier("group.b");
    const auto start = [](OTSDKManager& engine, const char* key, const OTDevServer& server) {
        engine.session().setUserId(std::string("user-") + key);
        auto config = std::make_shared<CorvaneOtConfig>();
        config->setAppKey(key);
        config->setUrl(server.baseURL() + "/");
        engine.startWithConfiguration(config);
    };
    start(*a, "a", first);
    start(*b, "b", second);
    // The day's download time is the app's, shared by both: each asks for its lists itself.
    ASSERT_TRUE(test.scheduler().runUntil([&] { return a->session().token() && b->session().token(); }, 10s));
    a->getListData(true);
    b->getListData(true);
    ASSERT_TRUE(test.scheduler().runUntil(
        [&] { return !a->campaigns().inAppDataArray().empty() && !b->campaigns().inAppDataArray().empty(); }, 10s));

    for (const auto& [server, key] : {std::pair{&first, "a"}, std::pair{&second, "b"}}) {
        const auto logins = server->requestsTo("/push/sdk/login");
        ASSERT_FALSE(logins.empty());
        for (const auto& login : logins) EXPECT_EQ(login.body.value("appKey", ""), key);
    }
    EXPECT_EQ(b->campaigns().inAppDataArray().size(), a->campaigns().inAppDataArray().size() + 1);
    EXPECT_EQ(b->campaigns().inAppDataArray().back()->windowId(), "900");
    EXPECT_EQ(a->session().groupIdentifier(), "group.a");
    EXPECT_EQ(b->session().groupIdentifier(), "group.b");
    EXPECT_EQ(own.settings->groupIdentifier(), "group.b");
}

}  // namespace corvane
