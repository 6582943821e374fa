#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>

#include "core/OTSDKManager.h"
#include "model/OTEvent.h"
#include "server/OTServerSession.h"
#include "services/OTUserConfig.h"
#include "support/OTSDKManagerProbe.h"
#include "support/OTThreadedTestEnvironment.h"

namespace corvane {

using namespace std::chrono_literals;

// Events and profile changes from several threads at once, on real queues.
TEST(OTSDKManagerThreads, EventsFromManyThreadsAreAllHandledInTheirQueue) {
    OTThreadedTestEnvironment threaded;
    auto& scheduler = threaded.scheduler();
    {
        auto engine = OTSDKManager::sharedManager()->managerWithGroupIdentifier("group.threads");
        auto config = std::make_shared<CorvaneOtConfig>();
        config->setMainPage("HomeVC");
        engine->session().setConfiguration(config);
        std::vector<std::thread> senders;
        for (int t = 0; t < 4; ++t) {
            senders.emplace_back([engine, t] {
                for (int i = 0; i < 50; ++i) {
                    engine->onEventDataReceived(nlohmann::json{
                        {"xwhat", "$pageview"}, {"xcontext", {{"$url", i % 2 == 0 ? "HomeVC" : "Other"}}}, {"n", i}});
                    if (i % 10 == 0) engine->onUserProfile(nlohmann::json{{"calibration_time", t + i}});
                }
            });
        }
        for (auto& sender : senders) sender.join();
        ASSERT_TRUE(OTSDKManagerProbe::drained(scheduler, *engine));
        EXPECT_EQ(engine->pvCount(), 200);
        EXPECT_EQ(engine->mainPagePVCount(), 100);
        EXPECT_LE(engine->waitingEvents().size(), 5u);
    }
}

// Events kept before the campaigns, handed over from several threads at once: each is decided on
// the event queue, so the list never passes five nor holds an event twice.
TEST(OTSDKManagerThreads, WaitingEventsStayFewAndDistinctWhoeverAddsThem) {
    OTThreadedTestEnvironment threaded;
    auto engine = OTSDKManager::sharedManager();
    for (int round = 0; round < 100; ++round) {
        OTSDKManagerProbe::setWaitingEvents(*engine, {});
        std::vector<std::thread> adders;
        for (int t = 0; t < 4; ++t) {
            adders.emplace_back([engine, t] {
                for (int i = 0; i < 4; ++i) {
                    auto event = std::make_shared<OTEvent>();
                    event->setModelWithDic(nlohmann::json{{"xwhat", "e" + std::to_string((t + i) % 7)}});
                    engine->onLane([event](OTSDKManager& lane) { lane.addWaitingEvent(event); });
                }
            });
        }
        for (auto& adder : adders) adder.join();
        ASSERT_TRUE(OTSDKManagerProbe::drained(threaded.scheduler(), *engine));
        const auto waiting = engine->waitingEvents();
        std::set<std::string> names;
        for (const auto& event : waiting) names.insert(event->xwhat().value_or(""));
        ASSERT_EQ(waiting.size(), 5u) << "round " << round;
        ASSERT_EQ(names.size(), waiting.size()) << "round " << round;
    }
}

// Two user changes at once: each compares with the stored user and stores its own as one decision,
// so the engine and the group's settings end on the same user.
TEST(OTSDKManagerThreads, TwoUserChangesAtOnceLeaveTheEngineAndTheStoreAgreeing) {
    OTThreadedTestEnvironment threaded;
    auto engine = OTSDKManager::sharedManager()->managerWithGroupIdentifier("group.threads");
    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(std::string("group.threads"));
    for (int round = 0; round < 40; ++round) {
        const std::string a = "a" + std::to_string(round);
        const std::string b = "b" + std::to_string(round);
        std::thread first([&] { engine->handleXwho(a); });
        std::thread second([&] { engine->handleXwho(b); });
        first.join();
        second.join();
        ASSERT_EQ(engine->session().userId(), settings->userId()) << "round " << round;
    }
}

}  // namespace corvane
